// Says every now and then that a run is alive, with a thread and a connection of its own: for a catalog that
// many hosts share.
#pragma once

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

#include "store/dead_runs.h"
#include "store/store.h"

namespace store {

class RunLease {
 public:
  // `catalog` is a connection for this alone. It is made early: that it cannot be had would be noticed too
  // late.
  RunLease(Store& store, const Uid& run, std::unique_ptr<Catalog> catalog,
           std::chrono::milliseconds every = std::chrono::seconds(kRunSaysSo));
  RunLease(const RunLease&) = delete;
  RunLease& operator=(const RunLease&) = delete;
  // Ends the thread.
  ~RunLease();

 private:
  void SaySo();

  Store& store_;
  const Uid run_;
  const std::chrono::milliseconds every_;
  std::unique_ptr<Catalog> catalog_;
  std::mutex mutex_;
  std::condition_variable changed_;
  bool ending_ = false;
  std::thread thread_;
};

}  // namespace store
