#include "store/save/map_builder.h"

#include <algorithm>

namespace store {
namespace {

constexpr std::uint32_t kNone = UINT32_MAX;

bool IsSame(const Hole& a, const Hole& b) { return a.offset == b.offset && a.size == b.size; }

}  // namespace

MapBuilder::MapBuilder(const Keys& keys, PackFiller& filler, std::unique_ptr<Base> base,
                       std::uint32_t chunkSize)
    : keys_(keys), filler_(filler), base_(std::move(base)), chunkSize_(chunkSize) {
  tree_.chunkSize = chunkSize;
}

Status MapBuilder::Add(Piece& piece, const std::vector<Hole>& holes) {
  if (leaf_.chunks.empty()) {
    leafBegin_ = piece.Offset();
    BeginLeaf();
  }
  for (const Hole& hole : holes) {
    AddHole(hole);
  }
  if (IsAllNew(piece)) {
    if (Status stored = StoreWhole(piece); !stored) {
      return stored;
    }
  } else {
    for (std::size_t i = 0; i < piece.Chunks().size(); ++i) {
      const Piece::Chunk& chunk = piece.Chunks()[i];
      if (const ChunkPlace* known = Known(chunk)) {
        Refer(*known);
        continue;
      }
      same_ = false;
      if (chunk.zero) {
        leaf_.chunks.push_back({{}, true, 0, 0, 0});
        continue;
      }
      ChunkSpot spot;
      if (Status added = filler_.AddChunk(piece.ChunkBytes(i), spot); !added) {
        return added;
      }
      Place(chunk.id, spot);
    }
  }
  return leaf_.chunks.size() >= kChunksOfLeaf ? EndLeaf() : Status();
}

void MapBuilder::BeginLeaf() {
  leaf_ = {};
  leaf_.chunkSize = chunkSize_;
  leaf_.chunks.reserve(kChunksOfLeaf);
  baseLeaf_ = base_ == nullptr ? nullptr : base_->Leaf(tree_.leaves.size());
  same_ = baseLeaf_ != nullptr;
  indexOfBasePack_.assign(baseLeaf_ == nullptr ? 0 : baseLeaf_->packs.size(), kNone);
}

// If the last hole goes on here, the two are one.
void MapBuilder::AddHole(const Hole& hole) {
  const std::uint64_t offset = hole.offset - leafBegin_;
  if (!leaf_.holes.empty() && leaf_.holes.back().offset + leaf_.holes.back().size == offset) {
    leaf_.holes.back().size += hole.size;
  } else {
    leaf_.holes.push_back({offset, hole.size});
  }
}

// The base's chunk of the same place, if it is the same.
const ChunkPlace* MapBuilder::Known(const Piece::Chunk& chunk) const {
  const std::size_t number = leaf_.chunks.size();
  if (baseLeaf_ == nullptr || number >= baseLeaf_->chunks.size()) {
    return nullptr;
  }
  const ChunkPlace& known = baseLeaf_->chunks[number];
  return known.zero == chunk.zero && known.id == chunk.id ? &known : nullptr;
}

// Whether the piece is a whole block of which nothing is known: then it need not be copied.
bool MapBuilder::IsAllNew(const Piece& piece) const {
  return baseLeaf_ == nullptr && piece.Bytes().size() == kBlockSize && filler_.AtBlockBegin() &&
         std::none_of(piece.Chunks().begin(), piece.Chunks().end(),
                      [](const Piece::Chunk& chunk) { return chunk.zero; });
}

Status MapBuilder::StoreWhole(Piece& piece) {
  ChunkSpot spot;
  if (Status added = filler_.AddBlock(piece.Whole(), spot); !added) {
    return added;
  }
  for (const Piece::Chunk& chunk : piece.Chunks()) {
    Place(chunk.id, spot);
    spot.offset += chunkSize_;
  }
  return {};
}

void MapBuilder::Refer(const ChunkPlace& known) {
  ChunkPlace place = known;
  if (!known.zero) {
    referred_ = true;
    std::uint32_t& index = indexOfBasePack_[known.pack];
    if (index == kNone) {
      index = IndexOf(baseLeaf_->packs[known.pack]);
    }
    place.pack = index;
  }
  leaf_.chunks.push_back(place);
}

void MapBuilder::Place(const Uid& id, const ChunkSpot& spot) {
  leaf_.chunks.push_back({id, false, IndexOf(spot.pack), spot.block, spot.offset});
}

std::uint32_t MapBuilder::IndexOf(const Uid& pack) {
  const auto known = std::find(leaf_.packs.rbegin(), leaf_.packs.rend(), pack);
  if (known != leaf_.packs.rend()) {
    return static_cast<std::uint32_t>(leaf_.packs.rend() - known - 1);
  }
  leaf_.packs.push_back(pack);
  return static_cast<std::uint32_t>(leaf_.packs.size() - 1);
}

bool MapBuilder::IsSameLeaf() const {
  return same_ && leaf_.chunks.size() == baseLeaf_->chunks.size() &&
         std::equal(leaf_.holes.begin(), leaf_.holes.end(), baseLeaf_->holes.begin(), baseLeaf_->holes.end(),
                    IsSame);
}

Status MapBuilder::EndLeaf() {
  packs_.insert(leaf_.packs.begin(), leaf_.packs.end());
  MapTree::Leaf leaf;
  if (IsSameLeaf()) {
    leaf = base_->LeafPlace(tree_.leaves.size());
    referred_ = true;
  } else {
    allLeavesSame_ = false;
    const std::string bytes = EncodeLeaf(leaf_);
    leaf.id = keys_.IdOf(bytes);
    if (Status added = filler_.AddMap(bytes, leaf.place); !added) {
      return added;
    }
  }
  packs_.insert(leaf.place.pack);
  tree_.leaves.push_back(leaf);
  leaf_.chunks.clear();
  return {};
}

Status MapBuilder::Finish(Item& item, MapTree& tree) {
  if (!leaf_.chunks.empty()) {
    if (Status ended = EndLeaf(); !ended) {
      return ended;
    }
  }
  if (tree_.leaves.size() == 1) {
    item.map = tree_.leaves.front().place;
    item.content = tree_.leaves.front().id;
  } else if (!tree_.leaves.empty()) {
    if (base_ != nullptr && allLeavesSame_ && tree_.leaves.size() == base_->LeafCount()) {
      item.map = base_->Copy().map;
      item.content = base_->Copy().content;
      packs_.insert(item.map.pack);
    } else {
      tree = std::move(tree_);
    }
  }
  if (referred_) {
    item.stored = std::min(item.stored, base_->Copy().stored);
  }
  item.packs.assign(packs_.begin(), packs_.end());
  std::sort(item.packs.begin(), item.packs.end());
  return {};
}

}  // namespace store
