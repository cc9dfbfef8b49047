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
  RunLease(Store& store, const Uid& run);
  RunLease(const RunLease&) = delete;
  RunLease& operator=(const RunLease&) = delete;
  // Ends the thread.
  ~RunLease();

 private:
  void SaySo();

  Store& store_;
  const Uid run_;
  std::mutex mutex_;
  std::condition_variable changed_;
  bool ending_ = false;
  std::thread thread_;
};

}  // namespace store
