#include "store/save/workers.h"

#include <algorithm>

namespace store {
namespace {

// More threads would need more memory than their work is worth.
constexpr unsigned kMostThreads = 16;

}  // namespace

Workers::Workers(int compression) : own_(compression) {
  const unsigned count = std::clamp(std::thread::hardware_concurrency(), 1U, kMostThreads);
  for (unsigned i = 0; i < count; ++i) {
    threads_.emplace_back([this, compression] { Run(compression); });
  }
}

Workers::~Workers() {
  {
    const std::lock_guard lock(mutex_);
    ending_ = true;
    urgent_.clear();
    usual_.clear();
  }
  toDo_.notify_all();
  for (std::thread& thread : threads_) {
    thread.join();
  }
}

void Workers::Start(Work& work, Urgency urgency) {
  {
    const std::lock_guard lock(mutex_);
    work.done_ = false;
    (urgency == Urgency::kUrgent ? urgent_ : usual_).push_back(&work);
  }
  toDo_.notify_one();
}

void Workers::WaitFor(const Work& work) {
  std::unique_lock lock(mutex_);
  done_.wait(lock, [&work] { return work.done_; });
}

bool Workers::IsDone(const Work& work) {
  const std::lock_guard lock(mutex_);
  return work.done_;
}

void Workers::Run(int compression) {
  Sealer sealer(compression);
  std::unique_lock lock(mutex_);
  while (true) {
    toDo_.wait(lock, [this] { return ending_ || !urgent_.empty() || !usual_.empty(); });
    if (ending_) {
      return;
    }
    std::deque<Work*>& queue = urgent_.empty() ? usual_ : urgent_;
    Work* const work = queue.front();
    queue.pop_front();
    lock.unlock();
    work->Do(sealer);
    lock.lock();
    work->done_ = true;
    done_.notify_one();
  }
}

}  // namespace store
