// Checks packs in batches. A batch is large, so that the items which need its packs are gone through once for
// all of them; but the list of its chunks still fits into memory.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "store/check/findings.h"
#include "store/load/block_cache.h"
#include "store/load/map_walk.h"
#include "store/load/pack_cache.h"
#include "store/load/work_queue.h"
#include "store/pack/pack_reader.h"
#include "store/store.h"

namespace store {

class PackBatch {
 public:
  using Tell = std::function<void(const Damage& damage)>;
  // `tell` gets the damage; of `listener`, only `lost` is called.
  PackBatch(Store& store, const CheckListener& listener, Tell tell);

  // Opens a pack and adds it to the batch. A damaged one is noted.
  Status Add(const PackFacts& pack);
  [[nodiscard]] bool IsFull() const;
  // Checks all of them, tells what is wrong, notes it in the catalog, and empties the batch.
  Status Run();

 private:
  // Where a chunk has to be, according to the items.
  struct Spot {
    std::uint32_t block = 0;
    std::uint32_t offset = 0;
    std::uint32_t size = 0;
    Uid id;
    auto operator<=>(const Spot&) const = default;  // NOLINT(modernize-use-nullptr): none is written here
  };
  struct Checking {
    PackFacts facts;
    std::shared_ptr<const PackReader> reader;
    std::vector<Spot> spots;
    std::size_t sorted = 0;  // how many were left when the duplicates were last taken out
  };
  struct Bad {
    std::vector<std::string> what;
    std::set<std::uint64_t> blocks;
    bool whole = false;  // nothing in it can be used
    bool recordsLost = false;
  };
  static constexpr std::uint64_t kWhole = UINT64_MAX;

  [[nodiscard]] Status Failure();
  void NoteBad(const Uid& pack, std::uint64_t block, const Status& status);
  Status CheckRecords(const Checking& checking);
  Status CompareRecords(const Checking& checking, std::map<std::uint64_t, std::string>& records);
  Status TellMissingRows(const Checking& checking, const std::map<std::uint64_t, std::string>& records);
  Status IsNoLoss(const Checking& checking, const Item& item, bool& noLoss);
  Status ListChunks();
  Status TakeItem(const Item& item);
  Status Fetch(const MapPlace& place, const Uid& id, std::string& bytes);
  void AddSpots(const FilePart::FromBlock& from);
  static void Tidy(Checking& checking);
  void CheckBlocks();
  void CheckBlock(const Checking& checking, std::uint64_t number);
  Status TellBad();
  Status TellBad(const Uid& uid, const Bad& bad);
  Status TellLost(const Uid& pack, const Bad& bad);
  Status IsLost(const Item& item, const Uid& pack, const Bad& bad, bool& lost);
  Status Note();

  Store& store_;
  const CheckListener& listener_;
  Tell tell_;
  bool readsData_;
  std::vector<std::unique_ptr<Checking>> packs_;
  std::unordered_map<Uid, Checking*, UidHash> byId_;
  std::uint64_t chunks_ = 0;               // roughly, in all packs of the batch
  std::unordered_set<Uid, UidHash> maps_;  // those that were gone through
  std::mutex mutex_;
  std::map<Uid, Bad> bad_;
  Status failure_;         // the first one that is no damage; it ends the check
  std::set<Uid> differs_;  // packs that differ from the catalog; that was told
  PackCache opened_;
  BlockCache blocks_;
  Pending pending_;
  WorkQueue workers_;  // the last: it ends before everything that it uses
};

}  // namespace store
