// The second thread of a saving. It makes packs durable and commits what was completed with them, while the
// next pack fills. It has a catalog connection of its own.
#pragma once

#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <thread>
#include <vector>

#include "store/catalog/catalog.h"
#include "store/pack/pack_writer.h"
#include "store/place/place.h"
#include "store/status.h"

namespace store {

class Committer {
 public:
  // A pack that has ended, and the items that were completed with it.
  struct Batch {
    std::unique_ptr<PackWriter> pack;
    std::vector<Item> items;
  };
  // Items that could not be committed with their group, since these packs had gone.
  struct Conflict {
    std::vector<Item> items;
    std::vector<Uid> gone;
  };

  Committer(Place& place, std::unique_ptr<Catalog> catalog, const Uid& run, std::int64_t saveset);
  Committer(const Committer&) = delete;
  Committer& operator=(const Committer&) = delete;
  ~Committer();

  // Gives the id of a new pack, which is announced.
  Status NextPack(Uid& pack);
  // A pack is going to be asked for: announces it meanwhile.
  void PreparePack();
  // Hands a pack over. Waits while too many batches before it are not done yet. Packs without items wait for
  // the items that need them.
  Status Add(Batch batch);
  // For a file that was given up: deletes packs that wait for items, except those in `needed`.
  Status DropWaiting(std::vector<Uid> needed);
  // Deletes the packs' objects, then takes back their announcements.
  Status Delete(std::vector<Uid> packs);
  // Waits until everything is done.
  Status Wait();
  // Drops what was not begun. Returns the packs that were announced, and were neither committed nor deleted.
  std::vector<Uid> End();
  // Gives what was committed since the last call, and what could not be.
  void Take(std::vector<Item>& committed, std::vector<Conflict>& conflicts);

 private:
  struct Order {
    enum class Kind { kBatch, kDropWaiting, kDelete } kind = Kind::kBatch;
    Batch batch;
    std::vector<Uid> packs;
  };

  Status Put(Order order);
  [[nodiscard]] bool HasRoomFor(const Order& order) const;
  void Run();
  bool HasWork() const;
  Status Announce();
  Status CarryOut(Order& order);
  Status Commit(Batch& batch);
  Status CommitItems(std::vector<Item> items);
  Status DeletePacks(const std::vector<Uid>& packs);

  Place& place_;
  std::unique_ptr<Catalog> catalog_;
  Uid run_;
  std::int64_t saveset_;
  std::vector<Pack> waiting_;  // durable and announced, not committed; the thread's own
  std::set<Uid> pending_;      // announced, and neither committed nor deleted; the thread's own

  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<Order> orders_;
  bool wanted_ = true;  // the calling thread wants a pack
  std::optional<Uid> announced_;
  std::vector<Item> committed_;
  std::vector<Conflict> conflicts_;
  Status failure_;
  bool busy_ = false;
  bool ending_ = false;
  std::thread thread_;
};

}  // namespace store
