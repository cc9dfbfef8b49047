#include "store/save/run_lease.h"

namespace store {

RunLease::RunLease(Store& store, const Uid& run, std::unique_ptr<Catalog> catalog,
                   std::chrono::milliseconds every)
    : store_(store), run_(run), every_(every), catalog_(std::move(catalog)), thread_([this] { SaySo(); }) {}

RunLease::~RunLease() {
  {
    const std::lock_guard lock(mutex_);
    ending_ = true;
  }
  changed_.notify_all();
  thread_.join();
}

// After a failure this is tried again in a while, on a new connection. If nobody hears of the run for long,
// it learns at its own next transaction that it is over.
void RunLease::SaySo() {
  std::unique_lock lock(mutex_);
  while (!changed_.wait_for(lock, every_, [this] { return ending_; })) {
    lock.unlock();
    bool there = false;
    if (catalog_ == nullptr && !store_.Connect(catalog_)) {
      catalog_.reset();
    }
    if (catalog_ != nullptr && !catalog_->SeeRun(run_, there)) {
      catalog_.reset();
    }
    lock.lock();
  }
}

}  // namespace store
