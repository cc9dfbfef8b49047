// The threads that hash and compress: as many as the machine has cores, but at most 16.
#pragma once

#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

#include "store/save/sealer.h"

namespace store {

// Something to be done by one of the threads. Its owner has to keep it until it was waited for.
class Work {
 public:
  Work() = default;
  Work(const Work&) = delete;
  Work& operator=(const Work&) = delete;
  virtual ~Work() = default;

 protected:
  // `sealer` belongs to the thread.
  virtual void Do(Sealer& sealer) = 0;

 private:
  friend class Workers;
  bool done_ = true;
};

class Workers {
 public:
  // `compression` of the sealers, as in the configuration.
  explicit Workers(int compression);
  Workers(const Workers&) = delete;
  Workers& operator=(const Workers&) = delete;
  // Waits for the work that is being done; drops what was not begun.
  ~Workers();

  [[nodiscard]] std::size_t Count() const { return threads_.size(); }
  // What is urgent is begun before what is not.
  enum class Urgency { kUsual, kUrgent };
  void Start(Work& work, Urgency urgency);
  // Does it here and now, without a thread: for work that takes less than the way to another core.
  void DoHere(Work& work) { work.Do(own_); }
  void WaitFor(const Work& work);
  [[nodiscard]] bool IsDone(const Work& work);

 private:
  void Run(int compression);

  Sealer own_;
  std::mutex mutex_;
  std::condition_variable toDo_;
  std::condition_variable done_;
  std::deque<Work*> urgent_;
  std::deque<Work*> usual_;
  bool ending_ = false;
  std::vector<std::thread> threads_;
};

}  // namespace store
