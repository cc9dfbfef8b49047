// Says every now and then that a run is alive, by a thread and a connection of its own: for a catalog that
// many hosts share.
#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

#include "store/store.h"

namespace store {

class RunLease {
 public:
  // `catalog` is a connection of its own: one that cannot be had later would be missed when it is too late.
  RunLease(Store& store, const Uid& run, std::unique_ptr<Catalog> catalog);
  RunLease(const RunLease&) = delete;
  RunLease& operator=(const RunLease&) = delete;
  // Ends the thread.
  ~RunLease();

 private:
  void SaySo();

  Store& store_;
  const Uid run_;
  std::unique_ptr<Catalog> catalog_;
  std::mutex mutex_;
  std::condition_variable changed_;
  bool ending_ = false;
  std::thread thread_;
};

}  // namespace store
