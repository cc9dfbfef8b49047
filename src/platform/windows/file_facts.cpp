#include "platform/windows/file_facts.h"

#include <winioctl.h>

#include <algorithm>
#include <limits>
#include <string_view>

namespace platform::internal {
namespace {

// The attributes that are in a file's mode: those that a user can set.
constexpr DWORD kKeptAttributes =
    FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM | FILE_ATTRIBUTE_ARCHIVE;
// 1970 in the system's time, which counts units of 100 nanoseconds since 1601.
constexpr std::int64_t kTicks1970 = 116444736000000000;
constexpr std::int64_t kTicksPerSecond = 10000000;
constexpr std::uint32_t kNsPerTick = 100;
// The range of seconds that the system's time can express.
constexpr std::int64_t kFirstSecond = -kTicks1970 / kTicksPerSecond;
constexpr std::int64_t kLastSecond =
    (std::numeric_limits<std::int64_t>::max() - kTicks1970) / kTicksPerSecond - 1;

FileTime TimeOf(const LARGE_INTEGER& time) {
  // 0: some file systems do not know this time.
  if (time.QuadPart == 0) {
    return {};
  }
  return {time.QuadPart / kTicksPerSecond - kTicks1970 / kTicksPerSecond,
          static_cast<std::uint32_t>(time.QuadPart % kTicksPerSecond) * kNsPerTick};
}

bool ReadReparsePoint(HANDLE file, FILE_ATTRIBUTE_TAG_INFO& point) {
  return GetFileInformationByHandleEx(file, FileAttributeTagInfo, &point, sizeof point) != 0 &&
         (point.FileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
}

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
  facts.modified = TimeOf(times.LastWriteTime);
  facts.changed = TimeOf(times.ChangeTime);
  facts.mode = times.FileAttributes & kKeptAttributes;
  facts.sparse = static_cast<std::uint64_t>(sizes.AllocationSize.QuadPart) < facts.size;
  return true;
}

FileId IdOf(const BY_HANDLE_FILE_INFORMATION& info) {
  return {info.dwVolumeSerialNumber,
          static_cast<std::uint64_t>(info.nFileIndexHigh) << 32 | info.nFileIndexLow};
}

bool IsReparsePoint(HANDLE file) {
  FILE_ATTRIBUTE_TAG_INFO point = {};
  return ReadReparsePoint(file, point);
}

bool IsLink(HANDLE file) {
  FILE_ATTRIBUTE_TAG_INFO point = {};
  return ReadReparsePoint(file, point) && IsReparseTagNameSurrogate(point.ReparseTag);
}

bool IsMountedVolume(HANDLE directory) {
  // The beginning of the REPARSE_DATA_BUFFER of a mount point: tag and length, then the places of its texts.
  struct {
    DWORD tag;
    WORD length;
    WORD reserved;
    WORD targetOffset;
    WORD targetLength;
    WORD shownOffset;
    WORD shownLength;
    wchar_t texts[MAXIMUM_REPARSE_DATA_BUFFER_SIZE / sizeof(wchar_t)];
  } data = {};
  constexpr std::wstring_view kVolume = L"\\??\\Volume{";
  FILE_ATTRIBUTE_TAG_INFO point = {};
  DWORD size = 0;
  if (!ReadReparsePoint(directory, point) || point.ReparseTag != IO_REPARSE_TAG_MOUNT_POINT ||
      DeviceIoControl(directory, FSCTL_GET_REPARSE_POINT, nullptr, 0, &data, sizeof data, &size, nullptr) ==
          0 ||
      data.targetLength < kVolume.size() * sizeof(wchar_t) ||
      data.targetOffset + data.targetLength > MAXIMUM_REPARSE_DATA_BUFFER_SIZE) {
    return false;
  }
  return std::wstring_view(data.texts + data.targetOffset / sizeof(wchar_t), kVolume.size()) == kVolume;
}

bool SetFactsOf(HANDLE file, const FileFacts& facts) {
  // For the system, a time of 0 means "do not change", and so do attributes of 0.
  FILE_BASIC_INFO times = {};
  times.LastWriteTime.QuadPart =
      std::clamp(facts.modified.seconds, kFirstSecond, kLastSecond) * kTicksPerSecond + kTicks1970 +
      facts.modified.nanoseconds / kNsPerTick;
  times.FileAttributes = facts.mode & kKeptAttributes;
  if (times.FileAttributes == 0) {
    times.FileAttributes = FILE_ATTRIBUTE_NORMAL;
  }
  return SetFileInformationByHandle(file, FileBasicInfo, &times, sizeof times) != 0;
}

}  // namespace platform::internal
