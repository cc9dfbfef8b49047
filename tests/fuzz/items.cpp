// Records and maps of items, with hashes that are right.
#include <algorithm>

#include "fuzz/fuzz.h"
#include "fuzz/records.h"
#include "store/base/bytes.h"
#include "store/base/checksum.h"
#include "store/pack/format.h"
#include "store/pack/map.h"

namespace fuzz {

using namespace store;

std::string RecordOf(std::string_view fields) {
  Checksum hash;
  const Uid null;
  for (const std::string_view part : {null.Bytes(), null.Bytes(), fields}) {
    hash.Add(part);
  }
  return Encoder().Raw(fields).Varint(127).Text(hash.Value().Bytes()).Take();
}

std::string FieldsOf(const Item& item) {
  constexpr std::size_t kHashField = 2 + Uid::kSize;
  const std::string record = EncodeRecord(item, Uid(), Uid());
  return record.substr(0, record.size() - kHashField);
}

std::vector<Item> SampleItems() {
  Item file;
  file.number = 1;
  file.name = "/data/with blank.dbf";
  file.facts.size = 123456;
  file.facts.modified = {1700000000, 999999999};
  file.facts.mode = 0644;
  file.facts.owner = 1000;
  file.facts.sparse = true;
  file.map.size = 77;
  file.map.offset = 5;
  file.stored = 1700000001;
  file.packs = {Uid(), Uid()};
  Item directory = file;
  directory.number = 300;
  directory.kind = ItemKind::kDirectory;
  directory.name = "C:\\data\\dir";
  directory.entries = 2;
  directory.map = {};
  Item link = directory;
  link.kind = ItemKind::kLink;
  link.link = "../there";
  link.directory = 300;
  link.unknown = Encoder().Varint(99).Text("newer").Take();
  return {file, directory, link};
}

namespace {

void RunRecord(std::string_view bytes) {
  Input input(bytes);
  const bool right = input.Byte() % 4 != 0;
  const std::string record = right ? RecordOf(input.Rest()) : std::string(input.Rest());
  Item item;
  if (!DecodeRecord(record, Uid(), Uid(), item)) {
    return;
  }
  Require(item.kind <= ItemKind::kFirstLevel && item.facts.modified.nanoseconds < 1'000'000'000,
          "what is taken is within its bounds");
  Require(item.name.size() + item.link.size() + item.packs.size() * Uid::kSize + item.unknown.size() <=
              record.size(),
          "an item is no larger than its record");
  const std::string again = EncodeRecord(item, Uid(), Uid());
  Item second;
  Require(static_cast<bool>(DecodeRecord(again, Uid(), Uid(), second)), "a record can be written again",
          item.name);
  Require(EncodeRecord(second, Uid(), Uid()) == again && second.name == item.name &&
              second.kind == item.kind && second.number == item.number && second.packs == item.packs &&
              second.unknown == item.unknown,
          "a record that was written again is the same", item.name);
  Uid other;
  other.bytes[0] = 1;
  Require(!DecodeRecord(record, Uid(), other, second) && !DecodeRecord(record, other, Uid(), second),
          "a record of another saveset or repository is refused", item.name);
}

void SeedRecord(Corpus& corpus) {
  for (const Item& item : SampleItems()) {
    corpus.Add("\1" + FieldsOf(item));
    corpus.Add('\0' + EncodeRecord(item, Uid(), Uid()));
  }
}

// ---- Maps ----

void CheckChunkSize(std::uint32_t size) {
  Require(size >= 8 * 1024 && size <= 1024 * 1024 && (size & (size - 1)) == 0,
          "a chunk has one of the known sizes");
}

void CheckLeaf(const MapLeaf& leaf, std::size_t size) {
  CheckChunkSize(leaf.chunkSize);
  Require(leaf.chunks.size() <= kChunksOfLeaf && leaf.packs.size() * Uid::kSize <= size,
          "a leaf has its bounds");
  for (const ChunkPlace& chunk : leaf.chunks) {
    Require(chunk.zero || (chunk.pack < leaf.packs.size() && chunk.offset < kBlockSize),
            "a chunk is somewhere");
  }
  std::uint64_t end = 0;
  for (const Hole& hole : leaf.holes) {
    Require(hole.offset >= end && hole.size > 0, "holes are in their order");
    end = hole.offset + hole.size;
    Require(end <= std::uint64_t{leaf.chunkSize} * kChunksOfLeaf, "a hole is in its leaf");
  }
  const std::string again = EncodeLeaf(leaf);
  MapLeaf second;
  Require(
      DecodeLeaf(again, second) && EncodeLeaf(second) == again && second.chunks.size() == leaf.chunks.size(),
      "a leaf can be written again");
  for (std::size_t i = 0; i < leaf.chunks.size(); ++i) {
    const ChunkPlace& one = leaf.chunks[i];
    const ChunkPlace& other = second.chunks[i];
    Require(one.id == other.id && one.zero == other.zero && one.pack == other.pack &&
                one.block == other.block && one.offset == other.offset,
            "a leaf that was written again is the same");
  }
}

void CheckTree(const MapTree& tree, std::size_t size) {
  CheckChunkSize(tree.chunkSize);
  Require(tree.leaves.size() * Uid::kSize <= size, "a tree is no larger than its bytes");
  const std::string again = EncodeTree(tree);
  MapTree second;
  Require(
      DecodeTree(again, second) && EncodeTree(second) == again && second.leaves.size() == tree.leaves.size(),
      "a tree can be written again");
  for (std::size_t i = 0; i < tree.leaves.size(); ++i) {
    const MapTree::Leaf& one = tree.leaves[i];
    const MapTree::Leaf& other = second.leaves[i];
    Require(one.id == other.id && one.place.pack == other.place.pack &&
                one.place.block == other.place.block && one.place.offset == other.place.offset &&
                one.place.size == other.place.size,
            "a tree that was written again is the same");
  }
}

void RunMap(std::string_view bytes) {
  MapForm form = MapForm::kLeaf;
  MapLeaf leaf;
  MapTree tree;
  const bool isLeaf = static_cast<bool>(DecodeLeaf(bytes, leaf));
  const bool isTree = static_cast<bool>(DecodeTree(bytes, tree));
  Require(!isLeaf || (FormOfMap(bytes, form) && form == MapForm::kLeaf), "a leaf is known as one");
  Require(!isTree || (FormOfMap(bytes, form) && form == MapForm::kTree), "a tree is known as one");
  if (isLeaf) {
    CheckLeaf(leaf, bytes.size());
  }
  if (isTree) {
    CheckTree(tree, bytes.size());
  }
}

void SeedMap(Corpus& corpus) {
  MapLeaf leaf;
  leaf.chunkSize = 8192;
  leaf.packs = {Uid(), Uid()};
  ChunkPlace chunk;
  chunk.block = 3;
  for (std::uint32_t i = 0; i < 4; ++i) {
    chunk.offset = i * 8192;
    leaf.chunks.push_back(chunk);
  }
  chunk.pack = 1;
  leaf.chunks.push_back(chunk);
  chunk.zero = true;
  leaf.chunks.push_back(chunk);
  leaf.holes = {{8192, 100}, {16384, 8192}};
  corpus.Add(EncodeLeaf(leaf));
  MapTree tree;
  tree.chunkSize = 65536;
  tree.leaves.resize(3);
  tree.leaves[1].place = {Uid(), 2, 300, 40000};
  tree.leaves[2].place.pack.bytes[3] = 4;
  corpus.Add(EncodeTree(tree));
}

}  // namespace

const Target kRecord = {"record", RunRecord, SeedRecord, {}};
const Target kMap = {"map", RunMap, SeedMap, {}};

}  // namespace fuzz
