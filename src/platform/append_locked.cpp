#include "platform/internal.h"

namespace platform {
namespace {

constexpr std::uint64_t kLongestWaitMilliseconds = 10000;
constexpr std::uint32_t kPollMilliseconds = 5;

using internal::LockableFile;

bool LockWithin(const LockableFile& file, std::int64_t position, std::uint64_t length,
                std::uint64_t startOfWait) {
  for (;;) {
    const LockableFile::Lock lock = file.TryLock(position, length);
    if (lock != LockableFile::Lock::kHeldByAnother) {
      return lock == LockableFile::Lock::kGranted;
    }
    if (SteadyMilliseconds() - startOfWait >= kLongestWaitMilliseconds ||
        internal::MillisecondsLeft(internal::kNoTool) == 0) {
      return false;
    }
    SleepMilliseconds(kPollMilliseconds);
  }
}

// Locks the bytes behind the end of the file. The end may move until the lock is granted: a lock that is
// not at the end keeps nobody else from writing there, so it is moved until the end has not. Gives the
// position of the lock, or a negative number.
std::int64_t LockBehindEnd(const LockableFile& file, std::uint64_t length) {
  const std::uint64_t startOfWait = SteadyMilliseconds();
  std::int64_t end = file.EndAtOpening();
  while (end >= 0) {
    if (!LockWithin(file, end, length, startOfWait)) {
      return -1;
    }
    const std::int64_t endNow = file.End();
    if (endNow == end) {
      return end;
    }
    file.Unlock(end, length);
    end = endNow;
  }
  return -1;
}

}  // namespace

bool AppendLocked(const std::string& path, std::string_view text) {
  const LockableFile file(internal::SystemPath(path));
  if (!file.IsOpen()) {
    return false;
  }
  if (text.empty()) {
    return true;
  }
  const std::int64_t end = LockBehindEnd(file, text.size());
  if (end < 0) {
    return false;
  }
  if (!file.Append(end, text)) {
    file.CutTo(end);
    return false;
  }
  return true;
}

FileClaim::~FileClaim() { LockableFile::CloseHandle(handle_); }

std::unique_ptr<FileClaim> FileClaim::TryClaim(const std::string& path, std::uint32_t position) {
  LockableFile file(internal::SystemPath(path));
  if (!file.IsOpen() || file.TryLock(position, 1) != LockableFile::Lock::kGranted) {
    return nullptr;
  }
  return std::unique_ptr<FileClaim>(new FileClaim(file.Release()));
}

}  // namespace platform
