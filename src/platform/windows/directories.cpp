#include <windows.h>

#include <algorithm>
#include <optional>
#include <string_view>

#include "platform/data_file.h"
#include "platform/internal.h"
#include "platform/platform.h"
#include "platform/windows/data_names.h"
#include "platform/windows/owner_alone.h"
#include "platform/windows/wide.h"

namespace platform {
namespace {

using internal::ErrorText;
using internal::IsUnusableName;

constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

bool MakeOne(const std::string& path, DirectoryAccess access, std::string& why) {
  SECURITY_ATTRIBUTES ownerAlone = internal::OwnerAloneDirectory();
  if (CreateDirectoryW(internal::WidePath(path).c_str(),
                       access == DirectoryAccess::kPrivate ? &ownerAlone : nullptr) != 0) {
    return true;
  }
  const DWORD error = GetLastError();
  if (LookUp(path).kind == PathKind::kDirectory) {
    return true;
  }
  why = ErrorText(error);
  return false;
}

}  // namespace

// The system writes the names of a directory together with its files, in an order that no power failure
// disturbs. If it allows us to, the names are written now. It does not report for every directory that it
// could not, so no failure is reported here.
bool SyncDirectory(const std::string& path, std::string& /*why*/) {
  const HANDLE handle = CreateFileW(internal::WidePath(path).c_str(), GENERIC_WRITE, kShareAll, nullptr,
                                    OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
  if (handle != INVALID_HANDLE_VALUE) {
    FlushFileBuffers(handle);
    CloseHandle(handle);
  }
  return true;
}

bool SyncDirectoryChain(const std::string& path, std::string& why) {
  // The root of a volume stands for the whole volume. It is in no directory whose names could be missing.
  bool good = SyncDirectory(path, why);
  for (std::string directory = DirectoryOf(path); good && directory != DirectoryOf(directory);
       directory = DirectoryOf(directory)) {
    good = SyncDirectory(directory, why);
  }
  return good;
}

bool MakeDirectories(const std::string& path, DirectoryAccess access, std::string& why,
                     DirectorySync /*sync*/) {
  if (IsUnusableName(path, why)) {
    return false;
  }
  if (LookUp(path).kind == PathKind::kDirectory) {
    return true;
  }
  const std::string native = internal::SystemPath(path);
  std::vector<std::string> missing = {native};
  for (std::string above = DirectoryOf(native); !Exists(above) && above != DirectoryOf(above);
       above = DirectoryOf(above)) {
    missing.push_back(above);
  }
  return std::all_of(missing.rbegin(), missing.rend(), [&](const std::string& directory) {
    return LookUp(directory).kind == PathKind::kDirectory || MakeOne(directory, access, why);
  });
}

bool FollowLinks(const std::string& path, std::string& target, std::string& why) {
  target = path;
  if (IsUnusableName(path, why)) {
    return false;
  }
  const std::wstring native = internal::WidePath(path);
  const DWORD attributes = GetFileAttributesW(native.c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0) {
    return true;
  }
  const HANDLE handle =
      CreateFileW(native.c_str(), 0, kShareAll, nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
  if (handle == INVALID_HANDLE_VALUE) {
    why = "it is a link that leads nowhere: " + ErrorText(GetLastError());
    return false;
  }
  constexpr DWORD kLongestPath = 32768;
  std::wstring text(kLongestPath, L'\0');
  text.resize(GetFinalPathNameByHandleW(handle, text.data(), kLongestPath, FILE_NAME_NORMALIZED));
  CloseHandle(handle);
  // `\\?\C:\x`, or `\\?\UNC\computer\share\x`
  constexpr std::wstring_view kLong = L"\\\\?\\";
  constexpr std::wstring_view kLongShare = L"\\\\?\\UNC\\";
  if (text.starts_with(kLongShare)) {
    text.replace(0, kLongShare.size(), L"\\\\");
  } else if (text.starts_with(kLong)) {
    text.erase(0, kLong.size());
  }
  const std::optional<std::string> narrow = internal::Narrow(text);
  if (!narrow) {
    why = "it leads to a name that the code page of this system lacks: " + internal::Shown(text);
    return false;
  }
  target = narrow->empty() ? path : *narrow;
  return true;
}

}  // namespace platform
