#include "platform/windows/file_facts.h"

namespace platform::internal {
namespace {

// What stands in a file's mode: the attributes that a user can set.
constexpr DWORD kKeptAttributes =
    FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM | FILE_ATTRIBUTE_ARCHIVE;
// 1970 in the system's time, which counts tenths of microseconds since 1601.
constexpr std::int64_t kTicks1970 = 116444736000000000;
constexpr std::int64_t kNsPerTick = 100;

}  // namespace

bool FactsOf(HANDLE file, FileFacts& facts) {
  FILE_STANDARD_INFO sizes = {};
  FILE_BASIC_INFO times = {};
  if (GetFileInformationByHandleEx(file, FileStandardInfo, &sizes, sizeof sizes) == 0 ||
      GetFileInformationByHandleEx(file, FileBasicInfo, &times, sizeof times) == 0) {
    return false;
  }
  facts = {};
  facts.size = sizes.Directory != 0 ? 0 : static_cast<std::uint64_t>(sizes.EndOfFile.QuadPart);
  facts.modifiedNs = (times.LastWriteTime.QuadPart - kTicks1970) * kNsPerTick;
  facts.mode = times.FileAttributes & kKeptAttributes;
  facts.sparse = static_cast<std::uint64_t>(sizes.AllocationSize.QuadPart) < facts.size;
  return true;
}

bool SetFactsOf(HANDLE file, const FileFacts& facts) {
  std::int64_t ticks = facts.modifiedNs / kNsPerTick;
  if (facts.modifiedNs % kNsPerTick < 0) {
    --ticks;
  }
  // A time of 0 stays as it is, and so would the attributes.
  FILE_BASIC_INFO times = {};
  times.LastWriteTime.QuadPart = ticks + kTicks1970;
  times.FileAttributes = facts.mode & kKeptAttributes;
  if (times.FileAttributes == 0) {
    times.FileAttributes = FILE_ATTRIBUTE_NORMAL;
  }
  return SetFileInformationByHandle(file, FileBasicInfo, &times, sizeof times) != 0;
}

}  // namespace platform::internal
