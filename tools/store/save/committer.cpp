#include "store/save/committer.h"

#include <algorithm>

namespace store {
namespace {

// Besides the one that is under way. A disk that others keep busy must not stop the reading at once. Items
// take memory, but packs of large files hardly any.
constexpr std::size_t kMostOrders = 4;
constexpr std::size_t kMostItems = 4000;

// A first level is the last item of a run that went well: it waits for what has to be saved again.
bool CannotBeCommitted(const Item& item, const std::vector<Uid>& packs) {
  return item.kind == ItemKind::kFirstLevel ||
         std::any_of(item.packs.begin(), item.packs.end(), [&packs](const Uid& pack) {
           return std::find(packs.begin(), packs.end(), pack) != packs.end();
         });
}

}  // namespace

Committer::Committer(Place& place, std::unique_ptr<Catalog> catalog, const Uid& run, std::int64_t saveset)
    : place_(place), catalog_(std::move(catalog)), run_(run), saveset_(saveset), thread_([this] { Run(); }) {}

Committer::~Committer() { End(); }

std::vector<Uid> Committer::End() {
  {
    const std::lock_guard lock(mutex_);
    ending_ = true;
  }
  changed_.notify_all();
  if (thread_.joinable()) {
    thread_.join();
  }
  return {pending_.begin(), pending_.end()};
}

// ---- The calling thread ----------------------------------------------------------------------------------

Status Committer::NextPack(Uid& pack) {
  PreparePack();
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [this] { return !failure_ || announced_; });
  if (!failure_) {
    return failure_;
  }
  pack = *announced_;
  announced_.reset();
  wanted_ = false;
  return {};
}

void Committer::PreparePack() {
  const std::lock_guard lock(mutex_);
  wanted_ = true;
  changed_.notify_all();
}

Status Committer::Put(Order order) {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [&] { return !failure_ || HasRoomFor(order); });
  if (!failure_) {
    return failure_;
  }
  orders_.push_back(std::move(order));
  changed_.notify_all();
  return {};
}

bool Committer::HasRoomFor(const Order& order) const {
  std::size_t items = order.batch.items.size();
  for (const Order& other : orders_) {
    items += other.batch.items.size();
  }
  return orders_.empty() || (orders_.size() < kMostOrders && items <= kMostItems);
}

// Several packs may be on their way into the place at once; they are committed in their order.
Status Committer::Add(Batch batch) {
  batch.pack->BeginFinish();
  return Put({Order::Kind::kBatch, std::move(batch), {}});
}

Status Committer::DropWaiting(std::vector<Uid> needed) {
  return Put({Order::Kind::kDropWaiting, {}, std::move(needed)});
}

Status Committer::Delete(std::vector<Uid> packs) { return Put({Order::Kind::kDelete, {}, std::move(packs)}); }

Status Committer::Wait() {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [this] { return !failure_ || !HasWork(); });
  return failure_;
}

void Committer::Take(std::vector<Item>& committed, std::vector<Conflict>& conflicts) {
  const std::lock_guard lock(mutex_);
  committed = std::exchange(committed_, {});
  conflicts = std::exchange(conflicts_, {});
}

// ---- The thread of its own -------------------------------------------------------------------------------

bool Committer::HasWork() const { return busy_ || !orders_.empty() || (wanted_ && !announced_); }

// Ends with the first failure: nothing is tried again.
void Committer::Run() {
  std::unique_lock lock(mutex_);
  while (failure_) {
    changed_.wait(lock, [this] { return ending_ || HasWork(); });
    if (ending_) {
      return;
    }
    busy_ = true;
    Status done;
    if (wanted_ && !announced_) {
      lock.unlock();
      done = Announce();
      lock.lock();
    } else {
      Order order = std::move(orders_.front());
      orders_.pop_front();
      changed_.notify_all();
      lock.unlock();
      done = CarryOut(order);
      lock.lock();
    }
    busy_ = false;
    failure_ = done;
    changed_.notify_all();
  }
}

Status Committer::Announce() {
  const Uid pack = Uid::Random();
  pending_.insert(pack);
  if (Status announced = catalog_->AnnouncePack(run_, pack); !announced) {
    return announced;
  }
  const std::lock_guard lock(mutex_);
  announced_ = pack;
  return {};
}

Status Committer::CarryOut(Order& order) {
  if (order.kind == Order::Kind::kBatch) {
    return Commit(order.batch);
  }
  if (order.kind == Order::Kind::kDelete) {
    // What cannot be deleted now is named in the catalog, for the next run. Nobody else deletes these objects
    // meanwhile, and nobody brings them again.
    Ignore(catalog_->ForgetDeletedPacks(order.packs,
                                        [this](const Uid& pack) { return place_.Delete(PackObject(pack)); }));
    return {};
  }
  std::vector<Uid> dropped;
  std::erase_if(waiting_, [&](const Pack& pack) {
    const bool needed = std::find(order.packs.begin(), order.packs.end(), pack.uid) != order.packs.end();
    if (!needed) {
      dropped.push_back(pack.uid);
    }
    return !needed;
  });
  return DeletePacks(dropped);
}

// First the bytes are on the disk, then the catalog has them, then anyone is told.
Status Committer::Commit(Batch& batch) {
  if (Status finished = batch.pack->Finish(); !finished) {
    return finished;
  }
  waiting_.push_back({batch.pack->Id(), batch.pack->Size(), false});
  batch.pack.reset();
  return batch.items.empty() ? Status() : CommitItems(std::move(batch.items));
}

Status Committer::CommitItems(std::vector<Item> items) {
  Group group = {saveset_, waiting_, std::move(items)};
  std::vector<Uid> gone;
  Status committed = catalog_->CommitGroup(group, gone);
  while (committed.What() == Status::Kind::kConflict && !gone.empty()) {
    Conflict conflict;
    conflict.gone = std::exchange(gone, {});
    const auto affected = std::stable_partition(
        group.items.begin(), group.items.end(),
        [&conflict](const Item& item) { return !CannotBeCommitted(item, conflict.gone); });
    conflict.items.assign(std::make_move_iterator(affected), std::make_move_iterator(group.items.end()));
    group.items.erase(affected, group.items.end());
    if (conflict.items.empty()) {
      return committed;
    }
    {
      const std::lock_guard lock(mutex_);
      conflicts_.push_back(std::move(conflict));
    }
    // The packs have been written: items that need them are in the next group.
    committed = group.items.empty() ? Status() : catalog_->CommitGroup(group, gone);
  }
  if (!committed) {
    return committed;
  }
  if (!group.items.empty()) {
    for (const Pack& pack : waiting_) {
      pending_.erase(pack.uid);
    }
    waiting_.clear();
  }
  const std::lock_guard lock(mutex_);
  if (committed_.empty()) {
    committed_ = std::move(group.items);
  } else {
    std::move(group.items.begin(), group.items.end(), std::back_inserter(committed_));
  }
  return {};
}

// A pack that cannot be deleted, or not by this user, stays announced: once the run has ended, whoever may
// delete it does.
Status Committer::DeletePacks(const std::vector<Uid>& packs) {
  std::vector<Uid> gone;
  for (const Uid& pack : packs) {
    if (place_.Delete(PackObject(pack))) {
      gone.push_back(pack);
    }
  }
  if (Status forgotten = gone.empty() ? Status() : catalog_->ForgetAnnounced(gone); !forgotten) {
    return forgotten;
  }
  for (const Uid& pack : gone) {
    pending_.erase(pack);
  }
  return {};
}

}  // namespace store
