#include "store/load/map_walk.h"

#include <algorithm>
#include <map>
#include <string>
#include <utility>

namespace store {
namespace {

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

void MarkEdges(std::vector<LeafPart::FromBlock>& blocks) {
  std::map<Uid, std::pair<std::uint64_t, std::uint64_t>> edges;
  for (const LeafPart::FromBlock& from : blocks) {
    auto& [first, last] = edges.try_emplace(from.pack, from.block, from.block).first->second;
    first = std::min(first, from.block);
    last = std::max(last, from.block);
  }
  for (LeafPart::FromBlock& from : blocks) {
    const auto& [first, last] = edges[from.pack];
    from.edge = from.block == first || from.block == last;
  }
}

// The chunks of a leaf, by the blocks that they are in.
LeafPart PartOf(const MapLeaf& leaf, std::uint64_t begin, std::uint64_t fileSize) {
  LeafPart part;
  std::map<std::pair<std::uint32_t, std::uint32_t>, std::size_t> known;
  std::uint64_t offset = begin;
  for (const ChunkPlace& chunk : leaf.chunks) {
    const auto size = static_cast<std::uint32_t>(std::min<std::uint64_t>(leaf.chunkSize, fileSize - offset));
    if (chunk.zero) {
      AddZeros(offset, size, part.zeros);
    } else {
      const auto [found, isNew] = known.emplace(std::pair(chunk.pack, chunk.block), part.blocks.size());
      if (isNew) {
        part.blocks.push_back({leaf.packs[chunk.pack], chunk.block, false, {}});
      }
      part.blocks[found->second].pieces.push_back({offset, chunk.offset, size, chunk.id});
    }
    offset += size;
  }
  for (const Hole& hole : leaf.holes) {
    part.holes.push_back({begin + hole.offset, hole.size});
  }
  MarkEdges(part.blocks);
  return part;
}

}  // namespace

Status MapWalk::Run(const std::function<Status(LeafPart&)>& each) {
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
  return form == MapForm::kTree ? TakeTree(bytes, each) : TakeLeaf(bytes, 0, 0, each);
}

// `chunks` of a leaf that is all of the map: as many as it takes.
Status MapWalk::TakeLeaf(std::string_view bytes, std::uint64_t firstChunk, std::uint64_t chunks,
                         const std::function<Status(LeafPart&)>& each) {
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
  LeafPart part = PartOf(leaf, begin, item_.facts.size);
  return each(part);
}

Status MapWalk::TakeTree(std::string_view bytes, const std::function<Status(LeafPart&)>& each) {
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
  std::uint64_t first = 0;
  for (const MapTree::Leaf& leaf : tree.leaves) {
    if (Status fetched = fetch_(leaf.place, leaf.id, leafBytes); !fetched) {
      return fetched;
    }
    if (Status taken = TakeLeaf(leafBytes, first, std::min(kChunksOfLeaf, chunks - first), each); !taken) {
      return taken;
    }
    first += kChunksOfLeaf;
  }
  return {};
}

}  // namespace store
