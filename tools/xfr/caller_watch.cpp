#include "xfr/caller_watch.h"

#include <chrono>
#include <system_error>

#include "platform/platform.h"
#include "store/calling_backint.h"

CallerWatch::CallerWatch() {
  if (!store::CallingBackint(caller_)) {
    return;
  }
  try {
    thread_ = std::thread([this] { Look(); });
  } catch (const std::system_error&) {
    // Without the thread, the mover still ends at the next line that it cannot report.
  }
}

CallerWatch::~CallerWatch() {
  if (!thread_.joinable()) {
    return;
  }
  {
    const std::lock_guard lock(mutex_);
    ending_ = true;
  }
  changed_.notify_all();
  thread_.join();
}

void CallerWatch::Look() {
  constexpr auto kPause = std::chrono::seconds(1);
  // A single look may fail for another reason.
  constexpr int kLooks = 2;
  int missed = 0;
  std::unique_lock lock(mutex_);
  while (missed < kLooks && !changed_.wait_for(lock, kPause, [this] { return ending_; })) {
    missed = platform::IsRunning(caller_) == platform::Running::kNo ? missed + 1 : 0;
  }
  if (missed == kLooks) {
    platform::InterruptThisProcess();
  }
}
