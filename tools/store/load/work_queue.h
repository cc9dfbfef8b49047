// Threads that do small pieces of work in the order in which they come.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace store {

class WorkQueue {
 public:
  using Work = std::function<void()>;

  // The threads start with the first piece of work. If the system allows fewer, these do it all; if it allows
  // none, `Do` does each piece itself. Once `waitingForEach` pieces for each thread wait, `Do`
  // blocks until half of them are left. Small pieces need a greater number, so that no thread goes to sleep
  // over each.
  explicit WorkQueue(std::size_t threads, std::size_t waitingForEach = 2)
      : threads_(threads), mostWaiting_(threads * waitingForEach) {}
  WorkQueue(const WorkQueue&) = delete;
  WorkQueue& operator=(const WorkQueue&) = delete;
  // Waits until everything that was given is done.
  ~WorkQueue();

  // Adds a piece of work. Not to be called by a piece of work.
  void Do(Work work);

  // As many as the machine has cores, but at least two: while one waits for the disk, the other works.
  [[nodiscard]] static std::size_t UsualCount();

 private:
  void StartThreads();
  void Run();

  std::size_t threads_;
  std::size_t mostWaiting_;
  std::mutex mutex_;
  std::condition_variable comes_;
  std::condition_variable goes_;
  std::deque<Work> waiting_;
  bool ends_ = false;
  std::vector<std::thread> running_;
};

// Counts pieces of work that belong together.
class Pending {
 public:
  void Add();
  void Done();
  void Wait();
  [[nodiscard]] bool IsDone();

 private:
  std::mutex mutex_;
  std::condition_variable none_;
  std::size_t count_ = 0;
};

}  // namespace store
