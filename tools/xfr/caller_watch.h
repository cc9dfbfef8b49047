// Ends the mover with the backint that started it.
#pragma once

#include <condition_variable>
#include <mutex>
#include <thread>

#include "platform/data_file.h"

// While this object lives, a thread looks every second whether the backint that started this process still
// runs. If not, it interrupts this process: nobody would learn what is saved or restored from then on, and
// another restore may bring the same files back. Does nothing if another program started this process.
class CallerWatch {
 public:
  CallerWatch();
  CallerWatch(const CallerWatch&) = delete;
  CallerWatch& operator=(const CallerWatch&) = delete;
  // Ends the thread.
  ~CallerWatch();

 private:
  void Look();

  platform::ProcessIdentity caller_;
  std::mutex mutex_;
  std::condition_variable changed_;
  bool ending_ = false;
  std::thread thread_;
};
