#include "store/save/run_lease.h"

#include <chrono>

#include "store/dead_runs.h"

namespace store {

RunLease::RunLease(Store& store, const Uid& run) : store_(store), run_(run), thread_([this] { SaySo(); }) {}

RunLease::~RunLease() {
  {
    const std::lock_guard lock(mutex_);
    ending_ = true;
  }
  changed_.notify_all();
  thread_.join();
}

// What fails here is tried again in a while, on a new connection: if nobody hears of the run for long, it
// learns that it is over from its own next transaction.
void RunLease::SaySo() {
  std::unique_ptr<Catalog> catalog;
  std::unique_lock lock(mutex_);
  while (!changed_.wait_for(lock, std::chrono::seconds(kRunSaysSo), [this] { return ending_; })) {
    lock.unlock();
    bool there = false;
    if (catalog == nullptr && !store_.Connect(catalog)) {
      catalog.reset();
    }
    if (catalog != nullptr && !catalog->SeeRun(run_, there)) {
      catalog.reset();
    }
    lock.lock();
  }
}

}  // namespace store
