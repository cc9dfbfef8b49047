#include <atomic>

#include "platform/internal.h"

namespace platform {
namespace {

constexpr std::uint64_t kLongestWaitMilliseconds = 10000;
constexpr std::uint64_t kMomentMilliseconds = 500;
constexpr std::uint32_t kPollMilliseconds = 5;
// After so many texts, others get their turn.
constexpr int kTextsOfLock = 64;
constexpr std::uint64_t kAllThatMayCome = 0;

using internal::LockableFile;

// If no time is left after an interrupt, a few short waits are still worth it, because what is reported then
// counts.
std::uint64_t LongestWait(int waitsInVain) {
  constexpr int kMostWaitsInVain = 4;
  if (internal::MillisecondsLeft(internal::kNoTool) != 0) {
    return kLongestWaitMilliseconds;
  }
  return waitsInVain < kMostWaitsInVain ? kMomentMilliseconds : 0;
}

LockableFile::Lock LockWithin(const LockableFile& file, std::int64_t position, std::uint64_t length,
                              std::uint64_t startOfWait) {
  static std::atomic<int> waitsInVain = 0;
  for (;;) {
    const LockableFile::Lock lock = file.TryLock(position, length);
    const bool over = lock == LockableFile::Lock::kHeldByAnother &&
                      SteadyMilliseconds() - startOfWait >= LongestWait(waitsInVain);
    if (over || lock != LockableFile::Lock::kHeldByAnother) {
      waitsInVain += over ? 1 : 0;
      return lock;
    }
    SleepMilliseconds(kPollMilliseconds);
  }
}

// Locks the bytes after the end of the file. The end may move before the lock is granted. A lock that is not
// at the end keeps nobody from writing there, so the lock is moved until the end has not moved. `end` gets
// the position of the lock; without a lock, that of the end.
LockableFile::Lock LockBehindEnd(const LockableFile& file, std::uint64_t length, std::int64_t& end) {
  const std::uint64_t startOfWait = SteadyMilliseconds();
  end = file.EndAtOpening() < 0 ? file.End() : file.EndAtOpening();
  for (;;) {
    const LockableFile::Lock lock = LockWithin(file, end, length, startOfWait);
    const std::int64_t endNow = file.End();
    if (lock != LockableFile::Lock::kGranted || endNow == end) {
      end = endNow;
      return lock;
    }
    file.Unlock(end, length);
    end = endNow;
  }
}

// Only what was written here is cut off. Under the lock, others that lock have to wait, but somebody who does
// not lock may have written after it.
void MendTear(const LockableFile& file, LockableFile::Lock lock, std::int64_t end, std::size_t written) {
  const std::int64_t torn = end + static_cast<std::int64_t>(written);
  if (lock == LockableFile::Lock::kGranted && file.End() == torn) {
    file.CutTo(end);
  } else if (written > 0) {
    (void)file.Append(file.End(), "\n");
  }
}

std::string WhyNotOpen(const std::string& path, const std::string& systemReason) {
  const std::size_t separator = path.find_last_of("/\\");
  const bool inDirectory = separator != std::string::npos && separator > 0;
  return inDirectory && !Exists(path.substr(0, separator)) ? "its directory is not there" : systemReason;
}

}  // namespace

bool internal::AppendUnderLock(const LockableFile& file, std::string_view text, std::string& why,
                               KeptLock* kept) {
  if (text.empty()) {
    return true;
  }
  const bool keeps = kept != nullptr && LockableFile::LocksLetRead();
  const bool held = keeps && kept->texts > 0;
  const std::uint64_t length = keeps ? kAllThatMayCome : text.size();
  std::int64_t end = held ? kept->end : -1;
  const LockableFile::Lock lock = held ? LockableFile::Lock::kGranted : LockBehindEnd(file, length, end);
  if (lock == LockableFile::Lock::kHeldByAnother) {
    why = "another process has locked it";
    return false;
  }
  const std::int64_t begin = held ? kept->begin : end;
  const std::size_t written = file.Append(end, text);
  const bool whole = written == text.size();
  if (!whole) {
    why = LastErrorText();
    MendTear(file, lock, end, written);
  }
  const int texts = held ? kept->texts + 1 : 1;
  const bool keepsOn = keeps && whole && lock == LockableFile::Lock::kGranted && texts < kTextsOfLock;
  if (keeps) {
    *kept = {keepsOn ? texts : 0, begin, end + static_cast<std::int64_t>(written)};
  }
  if (lock == LockableFile::Lock::kGranted && !keepsOn) {
    file.Unlock(begin, length);
  }
  return whole;
}

bool AppendLocked(const std::string& path, std::string_view text, std::string* why) {
  const LockableFile file(internal::SystemPath(path));
  std::string reason = file.IsOpen() ? "" : WhyNotOpen(path, file.Why());
  const bool appended = file.IsOpen() && internal::AppendUnderLock(file, text, reason);
  if (!appended && why != nullptr) {
    *why = reason;
  }
  return appended;
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
