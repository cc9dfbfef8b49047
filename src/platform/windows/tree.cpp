#include "platform/tree.h"

#include <windows.h>

#include <memory>
#include <system_error>

namespace platform {
namespace {

// Between 1601, with which the system's file times begin, and 1970.
constexpr std::int64_t kTicksTo1970 = 116444736000000000;
constexpr std::int64_t kNsPerTick = 100;

bool Fail(std::string& why, DWORD error) {
  why = std::system_category().message(static_cast<int>(error));
  return false;
}

class Handle {
 public:
  explicit Handle(const std::string& path, DWORD access)
      : handle_(CreateFileA(NativePath(path).c_str(), access,
                            FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                            FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT, nullptr)) {}
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;
  ~Handle() {
    if (IsOpen()) {
      CloseHandle(handle_);
    }
  }
  [[nodiscard]] bool IsOpen() const { return handle_ != INVALID_HANDLE_VALUE; }
  [[nodiscard]] HANDLE Get() const { return handle_; }

 private:
  HANDLE handle_;
};

std::uint64_t Joined(DWORD high, DWORD low) { return static_cast<std::uint64_t>(high) << 32 | low; }

}  // namespace

bool ReadEntry(const std::string& path, Entry& entry, std::string& why) {
  const Handle handle(path, FILE_READ_ATTRIBUTES);
  BY_HANDLE_FILE_INFORMATION info = {};
  if (!handle.IsOpen() || GetFileInformationByHandle(handle.Get(), &info) == 0) {
    return Fail(why, GetLastError());
  }
  entry = {};
  if ((info.dwFileAttributes & (FILE_ATTRIBUTE_REPARSE_POINT | FILE_ATTRIBUTE_DEVICE)) == 0) {
    const bool directory = (info.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    entry.kind = directory ? EntryKind::kDirectory : EntryKind::kFile;
  }
  const auto ticks = static_cast<std::int64_t>(
      Joined(info.ftLastWriteTime.dwHighDateTime, info.ftLastWriteTime.dwLowDateTime));
  entry.facts.modifiedNs = (ticks - kTicksTo1970) * kNsPerTick;
  entry.facts.size = Joined(info.nFileSizeHigh, info.nFileSizeLow);
  entry.id = {info.dwVolumeSerialNumber, Joined(info.nFileIndexHigh, info.nFileIndexLow)};
  return true;
}

bool MakeLink(const std::string& /*text*/, const std::string& /*path*/, std::string& why) {
  why = "symbolic links cannot be made on this system";
  return false;
}

void SetLinkFacts(const std::string& /*path*/, const FileFacts& /*facts*/) {}

bool MakeUnfinishedDirectory(const std::string& path, std::string& why) {
  return MakeDirectories(path, DirectoryAccess::kUsual, why);
}

bool SetDirectoryFacts(const std::string& path, const FileFacts& facts, std::string& why) {
  const Handle handle(path, FILE_WRITE_ATTRIBUTES);
  const auto ticks = static_cast<std::uint64_t>(facts.modifiedNs / kNsPerTick + kTicksTo1970);
  const FILETIME time = {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
  const bool set = handle.IsOpen() && SetFileTime(handle.Get(), nullptr, nullptr, &time) != 0;
  return set || Fail(why, GetLastError());
}

}  // namespace platform
