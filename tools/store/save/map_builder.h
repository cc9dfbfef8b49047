// Makes the map of one file from its pieces: refers to what its last copy has, and stores the rest.
#pragma once

#include <cstdint>
#include <memory>
#include <unordered_set>
#include <vector>

#include "store/save/base.h"
#include "store/save/pack_filler.h"
#include "store/save/piece.h"

namespace store {

class MapBuilder {
 public:
  // `base` may be null; else `chunkSize` is its chunk size.
  MapBuilder(const Keys& keys, PackFiller& filler, std::unique_ptr<Base> base, std::uint32_t chunkSize);

  // Takes the next piece, which is hashed, and its holes (by their offsets in the file). May take its bytes
  // away.
  Status Add(Piece& piece, const std::vector<Hole>& holes);
  // Sets map, packs and age of the data. If the map is a tree, `tree` gets it, and it is left to the filler.
  Status Finish(Item& item, MapTree& tree);

 private:
  void BeginLeaf();
  Status EndLeaf();
  bool IsSameLeaf() const;
  void AddHole(const Hole& hole);
  const ChunkPlace* Known(const Piece::Chunk& chunk) const;
  bool IsAllNew(const Piece& piece) const;
  Status StoreWhole(Piece& piece);
  void Refer(const ChunkPlace& known);
  void Place(const Uid& id, const ChunkSpot& spot);
  std::uint32_t IndexOf(const Uid& pack);

  const Keys& keys_;
  PackFiller& filler_;
  std::unique_ptr<Base> base_;
  std::uint32_t chunkSize_;
  std::uint64_t leafBegin_ = 0;        // its offset in the file
  const MapLeaf* baseLeaf_ = nullptr;  // the base's leaf of the same place
  std::vector<std::uint32_t> indexOfBasePack_;
  MapLeaf leaf_;
  bool same_ = false;  // all chunks of the leaf so far are the base's
  bool referred_ = false;
  MapTree tree_;
  bool allLeavesSame_ = true;
  std::unordered_set<Uid, UidHash> packs_;
};

}  // namespace store
