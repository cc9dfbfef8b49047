#include <windows.h>

#include "platform/internal.h"
#include "platform/windows/find_entries.h"
#include "platform/windows/wide.h"

namespace platform {
namespace {

bool IsSeparator(char c) { return c == '\\' || c == '/'; }

bool HoldsWildcard(const std::string& path) { return path.find_first_of("*?") != std::string::npos; }

// Gets the attributes of the file to which a link leads. Opens no device: a device does not have the
// attribute of a link.
bool FollowTo(const std::wstring& link, WIN32_FILE_ATTRIBUTE_DATA& data) {
  const HANDLE handle = CreateFileW(link.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                    nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
  BY_HANDLE_FILE_INFORMATION info = {};
  const bool known = handle != INVALID_HANDLE_VALUE && GetFileInformationByHandle(handle, &info) != 0;
  const DWORD error = known ? ERROR_SUCCESS : GetLastError();
  if (handle != INVALID_HANDLE_VALUE) {
    CloseHandle(handle);
  }
  data.dwFileAttributes = info.dwFileAttributes;
  data.nFileSizeHigh = info.nFileSizeHigh;
  data.nFileSizeLow = info.nFileSizeLow;
  SetLastError(error);
  return known;
}

bool IsLinkOfFile(const WIN32_FILE_ATTRIBUTE_DATA& data) {
  return (data.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 &&
         (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

// Deletes the file so that its name is free at once, even if somebody still reads the file. Older systems and
// some file systems cannot do this.
bool DeleteAtOnce(const std::wstring& path) {
  constexpr auto kDispositionEx = static_cast<FILE_INFO_BY_HANDLE_CLASS>(21);  // FileDispositionInfoEx
  DWORD flags = 0x1 | 0x2;  // FILE_DISPOSITION_FLAG_DELETE, FILE_DISPOSITION_FLAG_POSIX_SEMANTICS
  const HANDLE handle =
      CreateFileW(path.c_str(), DELETE, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                  OPEN_EXISTING, FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
  if (handle == INVALID_HANDLE_VALUE) {
    return false;
  }
  const bool deleted = SetFileInformationByHandle(handle, kDispositionEx, &flags, sizeof flags) != 0;
  CloseHandle(handle);
  return deleted;
}

}  // namespace

bool IsSystemName(std::string_view /*name*/) { return false; }

std::string internal::SystemPath(std::string_view path) {
  std::string form(path);
  const std::size_t root = form.size() > 1 && form[1] == ':' ? 3 : 1;
  while (form.size() > root && IsSeparator(form.back())) {
    form.pop_back();
  }
  return form;
}

PathInfo LookUp(const std::string& path) {
  WIN32_FILE_ATTRIBUTE_DATA data = {};
  const std::string form = internal::SystemPath(path);
  if (HoldsWildcard(form)) {
    return {PathKind::kMissing, 0, ERROR_INVALID_NAME};
  }
  const std::wstring wide = internal::WidePath(form);
  if (GetFileAttributesExW(wide.c_str(), GetFileExInfoStandard, &data) == 0 ||
      (IsLinkOfFile(data) && !FollowTo(wide, data))) {
    return {PathKind::kMissing, 0, static_cast<long>(GetLastError())};
  }
  if ((data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
    return {PathKind::kDirectory, 0, 0};
  }
  return {(data.dwFileAttributes & FILE_ATTRIBUTE_DEVICE) != 0 ? PathKind::kOther : PathKind::kFile,
          static_cast<std::uint64_t>(data.nFileSizeHigh) << 32 | data.nFileSizeLow, 0};
}

bool Exists(const std::string& path) { return LookUp(path).kind != PathKind::kMissing; }

bool ListDirectory(const std::string& path, const std::function<void(std::string_view)>& each,
                   std::string* why, std::string* unusableName) {
  std::string reason;
  std::string unusable;
  const bool complete = internal::FindEntries(path, each, reason, unusable);
  if (!complete && why != nullptr) {
    *why = reason;
  }
  if (unusableName != nullptr) {
    *unusableName = unusable;
  }
  return complete;
}

bool RemoveFile(const std::string& path) {
  const std::wstring wide = internal::WidePath(path);
  return DeleteAtOnce(wide) || DeleteFileW(wide.c_str()) != 0;
}

std::string TemporaryDirectory() {
  char directory[MAX_PATH + 1] = {};
  GetTempPathA(sizeof(directory), directory);
  return internal::SystemPath(directory);
}

}  // namespace platform
