#include "store/load/work_queue.h"

#include <algorithm>
#include <utility>

#include "store/base/start_thread.h"

namespace store {

WorkQueue::~WorkQueue() {
  {
    const std::lock_guard lock(mutex_);
    ends_ = true;
  }
  comes_.notify_all();
  for (std::thread& thread : running_) {
    thread.join();
  }
}

void WorkQueue::Do(Work work) {
  std::unique_lock lock(mutex_);
  StartThreads();
  if (threads_ == 0) {
    lock.unlock();
    work();
    return;
  }
  if (waiting_.size() >= mostWaiting_) {
    goes_.wait(lock, [this] { return waiting_.size() <= mostWaiting_ / 2; });
  }
  waiting_.push_back(std::move(work));
  comes_.notify_one();
}

void WorkQueue::StartThreads() {
  while (running_.size() < threads_) {
    std::thread thread = StartThread([this] { Run(); });
    if (!thread.joinable()) {
      threads_ = running_.size();
      return;
    }
    running_.push_back(std::move(thread));
  }
}

void WorkQueue::Run() {
  std::unique_lock lock(mutex_);
  for (;;) {
    comes_.wait(lock, [this] { return ends_ || !waiting_.empty(); });
    if (waiting_.empty()) {
      return;
    }
    const Work work = std::move(waiting_.front());
    waiting_.pop_front();
    if (waiting_.size() == mostWaiting_ / 2) {
      goes_.notify_all();
    }
    lock.unlock();
    work();
    lock.lock();
  }
}

std::size_t WorkQueue::UsualCount() { return std::max(2U, std::thread::hardware_concurrency()); }

void Pending::Add() {
  const std::lock_guard lock(mutex_);
  ++count_;
}

// Notifies under the lock: whoever waits may destroy this as soon as the lock is released.
void Pending::Done() {
  const std::lock_guard lock(mutex_);
  if (--count_ == 0) {
    none_.notify_all();
  }
}

void Pending::Wait() {
  std::unique_lock lock(mutex_);
  none_.wait(lock, [this] { return count_ == 0; });
}

bool Pending::IsDone() {
  const std::lock_guard lock(mutex_);
  return count_ == 0;
}

}  // namespace store
