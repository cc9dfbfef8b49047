// Fills packs: gathers chunks in blocks, puts maps and records behind them, and hands each pack that has
// ended to the committer. The workers seal the blocks; the calling thread writes them in their order.
#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "store/pack/map.h"
#include "store/pack/pack_writer.h"
#include "store/save/committer.h"
#include "store/save/workers.h"
#include "store/store.h"

namespace store {

// Where the bytes of a chunk are.
struct ChunkSpot {
  Uid pack;
  std::uint32_t block = 0;
  std::uint32_t offset = 0;
};

class PackFiller {
 public:
  PackFiller(Store& store, const Uid& saveset, Workers& workers, Committer& committer);
  PackFiller(const PackFiller&) = delete;
  PackFiller& operator=(const PackFiller&) = delete;
  ~PackFiller();

  Status AddChunk(std::string_view bytes, ChunkSpot& spot);
  // Adds a whole block: takes its bytes, and gives others of the same size. Only at the beginning of a block.
  [[nodiscard]] bool AtBlockBegin() const { return block_.empty(); }
  Status AddBlock(std::string& bytes, ChunkSpot& spot);
  // Until the item is complete, only this class understands the block's number in `place`.
  Status AddMap(std::string_view bytes, MapPlace& place);

  // The chunks and maps of a file come in between these two calls. Its maps are resolved with its item.
  void BeginFile() { inFile_ = true; }
  // Everything of the item has come. If the tree is not empty, it is the item's map.
  void Complete(Item item, MapTree tree);
  void EndFile() { inFile_ = false; }

  // Whether the pack has as much as a pack should have.
  [[nodiscard]] bool IsFull() const;
  [[nodiscard]] bool HasItems() const { return !completed_.empty(); }
  // All packs that are needed by items which have not been handed over.
  [[nodiscard]] std::vector<Uid> NeededPacks() const;
  // Ends the pack. What comes next goes into another one.
  Status EndPack();
  // Hands packs that have ended to the committer, as far as that needs no waiting.
  Status HandOver();
  // Hands everything that has ended to the committer, and waits for that.
  Status Drain();
  // Drops the items of a directory that was given up, and the directory itself.
  void DropItemsOf(std::uint64_t directory);
  // Drops the pack that is being filled, which has no items.
  Status DropPack();

 private:
  struct Filling {
    std::unique_ptr<PackWriter> writer;
    std::uint32_t nextBlock = 0;
    std::vector<Item> items;
    std::vector<Uid> refersTo;
  };
  struct Completed {
    Item item;
    MapTree tree;
  };
  class Sealing;

  Status BeginPack();
  Status StartBlock(BlockKind kind, std::string& bytes);
  Status EndBlock();
  Status EndMaps();
  Status EndRecords();
  void Resolve(MapPlace& place) const;
  Status ResolveMap(Completed& completed);
  std::unique_ptr<Sealing> FreeSealing();
  Status Put(std::unique_ptr<Sealing> sealing);
  Status WriteOldest();

  Store& store_;
  Uid saveset_;
  Workers& workers_;
  Committer& committer_;
  std::uint64_t bestSize_;

  std::shared_ptr<Filling> pack_;
  std::string block_;              // chunks of the block that is being filled
  std::vector<std::string> maps_;  // blocks of maps
  std::size_t mapBytes_ = 0;
  std::vector<Completed> completed_;
  std::size_t recordBytes_ = 0;  // roughly
  bool inFile_ = false;
  // For packs that have ended: the number of their first block of maps.
  std::unordered_map<Uid, std::uint64_t, UidHash> firstMap_;

  std::deque<std::unique_ptr<Sealing>> underWay_;
  std::size_t endsUnderWay_ = 0;  // ends of packs
  std::vector<std::unique_ptr<Sealing>> free_;
};

}  // namespace store
