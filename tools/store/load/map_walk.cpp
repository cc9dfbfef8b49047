#include "store/load/map_walk.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <string>
#include <utility>

namespace store {
namespace {

// A part is half a gibibyte of a file with the smallest chunks, and takes some five megabytes of lists.
constexpr std::size_t kLeavesOfPart = 64;
constexpr std::size_t kHolesOfPart = 256 * 1024;

Status DoesNotFit() { return Status::Damaged("its map does not fit it"); }

std::uint64_t CountOf(std::uint64_t size, std::uint64_t unit) {
  return size / unit + (size % unit != 0 ? 1 : 0);
}

void AddZeros(std::uint64_t offset, std::uint64_t size, std::vector<Hole>& zeros) {
  if (!zeros.empty() && zeros.back().offset + zeros.back().size == offset) {
    zeros.back().size += size;
  } else {
    zeros.push_back({offset, size});
  }
}

}  // namespace

// Sorts the chunks of leaves by the blocks that they are in.
class MapWalk::PartMaker {
 public:
  void Add(const MapLeaf& leaf, std::uint64_t begin, std::uint64_t fileSize) {
    std::uint64_t offset = begin;
    for (const ChunkPlace& chunk : leaf.chunks) {
      const auto size =
          static_cast<std::uint32_t>(std::min<std::uint64_t>(leaf.chunkSize, fileSize - offset));
      if (chunk.zero) {
        AddZeros(offset, size, part_.zeros);
      } else {
        BlockOf(leaf.packs[chunk.pack], chunk.block).chunks.push_back({offset, chunk.offset, size, chunk.id});
      }
      offset += size;
    }
    for (const Hole& hole : leaf.holes) {
      AddZeros(begin + hole.offset, hole.size, part_.holes);
    }
  }

  [[nodiscard]] bool HasManyHoles() const { return part_.holes.size() >= kHolesOfPart; }

  FilePart Take() {
    MarkEdges();
    known_.clear();
    last_ = 0;
    return std::exchange(part_, {});
  }

 private:
  FilePart::FromBlock& BlockOf(const Uid& pack, std::uint64_t block) {
    std::vector<FilePart::FromBlock>& blocks = part_.blocks;
    if (blocks.empty() || blocks[last_].block != block || blocks[last_].pack != pack) {
      const auto [found, isNew] = known_.try_emplace(std::pair(pack, block), blocks.size());
      last_ = found->second;
      if (isNew) {
        blocks.push_back({pack, block, false, {}});
      }
    }
    return blocks[last_];
  }

  void MarkEdges() {
    for (auto entry = known_.begin(); entry != known_.end(); ++entry) {
      const auto next = std::next(entry);
      const bool first = entry == known_.begin() || std::prev(entry)->first.first != entry->first.first;
      const bool last = next == known_.end() || next->first.first != entry->first.first;
      part_.blocks[entry->second].edge = first || last;
    }
  }

  FilePart part_;
  std::map<std::pair<Uid, std::uint64_t>, std::size_t> known_;  // by pack and number, which block of the part
  std::size_t last_ = 0;
};

Status MapWalk::Run(const Each& each) {
  if (item_.facts.size == 0) {
    return {};
  }
  std::string bytes;
  if (Status fetched = fetch_(item_.map, item_.content, bytes); !fetched) {
    return fetched;
  }
  MapForm form = MapForm::kLeaf;
  if (Status known = FormOfMap(bytes, form); !known) {
    return known;
  }
  if (form == MapForm::kTree) {
    return TakeTree(bytes, each);
  }
  PartMaker maker;
  if (Status taken = TakeLeaf(bytes, 0, 0, maker); !taken) {
    return taken;
  }
  FilePart part = maker.Take();
  return each(part);
}

// `chunks` is 0 for a leaf that is the whole map: it has as many chunks as the file needs.
Status MapWalk::TakeLeaf(std::string_view bytes, std::uint64_t firstChunk, std::uint64_t chunks,
                         PartMaker& maker) {
  MapLeaf leaf;
  if (Status decoded = DecodeLeaf(bytes, leaf); !decoded) {
    return decoded;
  }
  if (chunks == 0) {
    chunks = CountOf(item_.facts.size, leaf.chunkSize);
  } else if (leaf.chunkSize != chunkSize_) {
    return DoesNotFit();
  }
  if (leaf.chunks.size() != chunks) {
    return DoesNotFit();
  }
  const std::uint64_t begin = firstChunk * leaf.chunkSize;
  const std::uint64_t size = std::min(chunks * leaf.chunkSize, item_.facts.size - begin);
  if (!leaf.holes.empty() && leaf.holes.back().offset + leaf.holes.back().size > size) {
    return DoesNotFit();
  }
  maker.Add(leaf, begin, item_.facts.size);
  return {};
}

Status MapWalk::TakeTree(std::string_view bytes, const Each& each) {
  MapTree tree;
  if (Status decoded = DecodeTree(bytes, tree); !decoded) {
    return decoded;
  }
  chunkSize_ = tree.chunkSize;
  const std::uint64_t chunks = CountOf(item_.facts.size, tree.chunkSize);
  if (tree.leaves.size() != CountOf(chunks, kChunksOfLeaf)) {
    return DoesNotFit();
  }
  std::string leafBytes;
  PartMaker maker;
  for (std::size_t number = 0; number < tree.leaves.size(); ++number) {
    const MapTree::Leaf& leaf = tree.leaves[number];
    const std::uint64_t first = number * kChunksOfLeaf;
    if (Status fetched = fetch_(leaf.place, leaf.id, leafBytes); !fetched) {
      return fetched;
    }
    if (Status taken = TakeLeaf(leafBytes, first, std::min(kChunksOfLeaf, chunks - first), maker); !taken) {
      return taken;
    }
    if ((number + 1) % kLeavesOfPart == 0 || number + 1 == tree.leaves.size() || maker.HasManyHoles()) {
      FilePart part = maker.Take();
      if (Status done = each(part); !done) {
        return done;
      }
    }
  }
  return {};
}

}  // namespace store
