#include "store/pack/map.h"

#include <algorithm>

#include "store/base/bytes.h"
#include "store/pack/format.h"

namespace store {
namespace {

constexpr std::uint32_t kSmallestChunk = 8 * 1024;
constexpr std::uint32_t kUsualLargestChunk = 64 * 1024;
constexpr std::uint32_t kLargestChunk = 1024 * 1024;
// For the largest files: keeps their trees within a block.
constexpr std::uint64_t kMostChunks = 64 * 1024 * kChunksOfLeaf;
// Databases change pages of 8 KiB here and there; larger chunks would also store what did not change. So
// chunks grow only where maps would become large, and more slowly than the file.
constexpr std::uint64_t kLargestWithSmallest = std::uint64_t{64} << 30;
constexpr std::uint64_t kGrowth = 4;
// No file system has a hole and data in fewer bytes.
constexpr std::uint64_t kBetweenHoles = 1024;
// The least bytes that a leaf takes in a tree.
constexpr std::size_t kLeastLeafEntry = Uid::kSize + 4;

Status Damaged() { return Status::Damaged("the map of a file is damaged"); }

void PutIds(Encoder& encoder, const std::vector<Uid>& ids) {
  encoder.Varint(ids.size());
  for (const Uid& id : ids) {
    encoder.Id(id);
  }
}

bool TakeIds(Decoder& decoder, std::vector<Uid>& ids) {
  const std::uint64_t count = decoder.Varint();
  if (count > decoder.Left() / Uid::kSize) {
    return false;
  }
  ids.resize(static_cast<std::size_t>(count));
  for (Uid& id : ids) {
    id = decoder.Id();
  }
  return !decoder.Failed();
}

bool IsChunkSize(std::uint64_t size) {
  return size >= kSmallestChunk && size <= kLargestChunk && (size & (size - 1)) == 0;
}

// Whether the chunk lies directly behind the one before it.
bool Follows(const ChunkPlace& next, const ChunkPlace& before, std::uint32_t chunkSize) {
  if (next.zero || before.zero) {
    return next.zero == before.zero;
  }
  return next.pack == before.pack && next.block == before.block && next.offset == before.offset + chunkSize;
}

void PutRun(Encoder& encoder, const ChunkPlace* first, std::size_t count) {
  encoder.Varint(count * 2 + (first->zero ? 0 : 1));
  if (!first->zero) {
    encoder.Varint(first->pack).Varint(first->block).Varint(first->offset);
    for (std::size_t i = 0; i < count; ++i) {
      encoder.Id(first[i].id);
    }
  }
}

void PutRuns(Encoder& encoder, const MapLeaf& leaf) {
  const std::vector<ChunkPlace>& chunks = leaf.chunks;
  for (std::size_t begin = 0; begin < chunks.size();) {
    std::size_t end = begin + 1;
    while (end < chunks.size() && Follows(chunks[end], chunks[end - 1], leaf.chunkSize)) {
      ++end;
    }
    PutRun(encoder, &chunks[begin], end - begin);
    begin = end;
  }
}

bool TakeHoles(Decoder& decoder, MapLeaf& leaf) {
  const std::uint64_t count = decoder.Varint();
  const std::uint64_t most = leaf.chunkSize * kChunksOfLeaf;
  if (count > decoder.Left() / 2 || count > most / kBetweenHoles) {
    return false;
  }
  leaf.holes.resize(static_cast<std::size_t>(count));
  std::uint64_t end = 0;
  for (Hole& hole : leaf.holes) {
    const std::uint64_t distance = decoder.Varint();
    hole.size = decoder.Varint();
    if (distance > most - end || hole.size == 0 || hole.size > most - end - distance) {
      return false;
    }
    hole.offset = end + distance;
    end = hole.offset + hole.size;
  }
  return true;
}

bool TakeRun(Decoder& decoder, std::size_t most, MapLeaf& leaf) {
  const std::uint64_t head = decoder.Varint();
  const std::uint64_t count = head / 2;
  if (count == 0 || count > most) {
    return false;
  }
  ChunkPlace chunk;
  chunk.zero = head % 2 == 0;
  if (chunk.zero) {
    leaf.chunks.insert(leaf.chunks.end(), static_cast<std::size_t>(count), chunk);
    return true;
  }
  const std::uint64_t pack = decoder.Varint();
  const std::uint64_t block = decoder.Varint();
  const std::uint64_t offset = decoder.Varint();
  if (count > decoder.Left() / Uid::kSize || pack >= leaf.packs.size() || block > UINT32_MAX ||
      offset >= kBlockSize) {
    return false;
  }
  chunk.pack = static_cast<std::uint32_t>(pack);
  chunk.block = static_cast<std::uint32_t>(block);
  chunk.offset = static_cast<std::uint32_t>(offset);
  for (std::uint64_t i = 0; i < count; ++i) {
    chunk.id = decoder.Id();
    leaf.chunks.push_back(chunk);
    chunk.offset += leaf.chunkSize;
  }
  return chunk.offset < kBlockSize + leaf.chunkSize;
}

}  // namespace

std::string EncodeLeaf(const MapLeaf& leaf) {
  Encoder encoder;
  encoder.U8(static_cast<std::uint8_t>(MapForm::kLeaf)).Varint(leaf.chunkSize);
  PutIds(encoder, leaf.packs);
  encoder.Varint(leaf.holes.size());
  std::uint64_t end = 0;
  for (const Hole& hole : leaf.holes) {
    encoder.Varint(hole.offset - end).Varint(hole.size);
    end = hole.offset + hole.size;
  }
  encoder.Varint(leaf.chunks.size());
  PutRuns(encoder, leaf);
  return encoder.Take();
}

std::string EncodeTree(const MapTree& tree) {
  std::vector<Uid> packs;
  Encoder leaves;
  for (const MapTree::Leaf& leaf : tree.leaves) {
    // Leaves in the same pack follow each other, so the search is short.
    auto pack = std::find(packs.rbegin(), packs.rend(), leaf.place.pack);
    if (pack == packs.rend()) {
      packs.push_back(leaf.place.pack);
      pack = packs.rbegin();
    }
    leaves.Id(leaf.id).Varint(static_cast<std::uint64_t>(packs.rend() - pack - 1));
    leaves.Varint(leaf.place.block).Varint(leaf.place.offset).Varint(leaf.place.size);
  }
  Encoder encoder;
  encoder.U8(static_cast<std::uint8_t>(MapForm::kTree)).Varint(tree.chunkSize);
  PutIds(encoder, packs);
  return encoder.Varint(tree.leaves.size()).Raw(leaves.Bytes()).Take();
}

Status FormOfMap(std::string_view bytes, MapForm& form) {
  const std::uint8_t number = Decoder(bytes).U8();
  form = static_cast<MapForm>(number);
  return form == MapForm::kLeaf || form == MapForm::kTree ? Status() : Damaged();
}

Status DecodeLeaf(std::string_view bytes, MapLeaf& leaf) {
  leaf = {};
  Decoder decoder(bytes);
  const bool isLeaf = decoder.U8() == static_cast<std::uint8_t>(MapForm::kLeaf);
  const std::uint64_t chunkSize = decoder.Varint();
  if (!isLeaf || !IsChunkSize(chunkSize)) {
    return Damaged();
  }
  leaf.chunkSize = static_cast<std::uint32_t>(chunkSize);
  if (!TakeIds(decoder, leaf.packs) || !TakeHoles(decoder, leaf)) {
    return Damaged();
  }
  const std::uint64_t chunks = decoder.Varint();
  if (chunks > kChunksOfLeaf) {
    return Damaged();
  }
  leaf.chunks.reserve(static_cast<std::size_t>(chunks));
  while (leaf.chunks.size() < chunks) {
    if (!TakeRun(decoder, static_cast<std::size_t>(chunks) - leaf.chunks.size(), leaf)) {
      return Damaged();
    }
  }
  return decoder.Done() ? Status() : Damaged();
}

Status DecodeTree(std::string_view bytes, MapTree& tree) {
  tree = {};
  Decoder decoder(bytes);
  const bool isTree = decoder.U8() == static_cast<std::uint8_t>(MapForm::kTree);
  const std::uint64_t chunkSize = decoder.Varint();
  std::vector<Uid> packs;
  if (!isTree || !IsChunkSize(chunkSize) || !TakeIds(decoder, packs)) {
    return Damaged();
  }
  tree.chunkSize = static_cast<std::uint32_t>(chunkSize);
  const std::uint64_t count = decoder.Varint();
  if (count > decoder.Left() / kLeastLeafEntry) {
    return Damaged();
  }
  tree.leaves.resize(static_cast<std::size_t>(count));
  for (MapTree::Leaf& leaf : tree.leaves) {
    leaf.id = decoder.Id();
    const std::uint64_t pack = decoder.Varint();
    leaf.place.block = decoder.Varint();
    leaf.place.offset = decoder.Varint();
    leaf.place.size = decoder.Varint();
    if (pack >= packs.size()) {
      return Damaged();
    }
    leaf.place.pack = packs[static_cast<std::size_t>(pack)];
  }
  return decoder.Done() ? Status() : Damaged();
}

std::uint32_t ChunkSizeFor(std::uint64_t fileSize) {
  std::uint32_t size = kSmallestChunk;
  for (std::uint64_t most = kLargestWithSmallest; size < kUsualLargestChunk && fileSize > most;
       most *= kGrowth) {
    size *= 2;
  }
  while (size < kLargestChunk && fileSize / size > kMostChunks) {
    size *= 2;
  }
  return size;
}

}  // namespace store
