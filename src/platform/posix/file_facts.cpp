#include "platform/posix/file_facts.h"

#include <unistd.h>

#include <cstdint>

namespace platform::internal {
namespace {

FileTime TimeOf(const timespec& time) { return {time.tv_sec, static_cast<std::uint32_t>(time.tv_nsec)}; }

}  // namespace

FileFacts FactsOf(const struct stat& status) {
  constexpr std::uint64_t kStatusBlock = 512;
  FileFacts facts;
  facts.size = S_ISREG(status.st_mode) ? static_cast<std::uint64_t>(status.st_size) : 0;
  facts.modified = TimeOf(status.st_mtim);
  facts.changed = TimeOf(status.st_ctim);
  facts.mode = status.st_mode & 07777;
  facts.owner = status.st_uid;
  facts.group = status.st_gid;
  facts.sparse = static_cast<std::uint64_t>(status.st_blocks) * kStatusBlock < facts.size;
  return facts;
}

FileId IdOf(const struct stat& status) { return {status.st_dev, status.st_ino}; }

std::array<timespec, 2> TimesOf(const FileFacts& facts) {
  std::array<timespec, 2> times = {};
  times[0].tv_nsec = UTIME_OMIT;
  times[1].tv_sec = facts.modified.seconds;
  times[1].tv_nsec = facts.modified.nanoseconds;
  return times;
}

// Nobody has the highest number as an id: for the system it means "leave this one as it is".
bool SetFactsOf(int handle, const FileFacts& facts) {
  mode_t mode = facts.mode;
  if (facts.owner == UINT32_MAX || facts.group == UINT32_MAX ||
      fchown(handle, facts.owner, facts.group) != 0) {
    mode &= 01777;  // all but the bits that lend the owner's rights
  }
  const auto times = TimesOf(facts);
  return fchmod(handle, mode) == 0 && futimens(handle, times.data()) == 0;
}

}  // namespace platform::internal
