// Tells a person how far the work of this process has come, while it goes on.
#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

#include "store/progress.h"

namespace store {

// Calls `print` while no progress is on the terminal. A program that has a ProgressTeller has to print
// everything through this function.
void PrintBesideProgress(const std::function<void()>& print);

// Works in a thread of its own as long as it lives. Does nothing in the first second, since most work has
// ended by then.
class ProgressTeller {
 public:
  struct Tasks {
    // Shows a line on standard error, if that is a terminal, and renews it twice a second.
    bool line = true;
    // Finds out what there is to do, and calls `Progress::Expect`; in another thread. Returns early once
    // `ended` is true.
    using Ended = std::function<bool()>;
    std::function<void(const Ended& ended)> count = nullptr;
    // Called once a second.
    std::function<void()> tell = nullptr;
  };
  ProgressTeller(Progress& progress, Tasks tasks);
  ProgressTeller(const ProgressTeller&) = delete;
  ProgressTeller& operator=(const ProgressTeller&) = delete;
  // Waits for the threads, and takes the line away.
  ~ProgressTeller();

 private:
  void Run();
  bool WaitFor(std::chrono::milliseconds time);
  [[nodiscard]] bool Ended();

  Progress& progress_;
  Tasks tasks_;
  std::mutex mutex_;
  std::condition_variable changed_;
  bool ending_ = false;
  std::thread thread_;
};

}  // namespace store
