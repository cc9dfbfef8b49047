#include <aclapi.h>
#include <windows.h>

#include <atomic>
#include <memory>

#include "platform/data_file.h"
#include "platform/internal.h"
#include "platform/open_files.h"
#include "platform/platform.h"
#include "platform/windows/data_names.h"
#include "platform/windows/wide.h"

#undef ReplaceFile  // the system's header has a macro of this name

namespace platform {
namespace {

using internal::ErrorText;
using internal::IsUnusableName;

struct LocalReleaser {
  void operator()(void* memory) const { LocalFree(memory); }
};

// Gives the file the access rights of the file that it will replace, or those that its directory gives. On a
// file system without access rights, nothing happens.
void TakeOverRights(std::wstring from, std::wstring to) {
  PSECURITY_DESCRIPTOR found = nullptr;
  const DWORD result = GetNamedSecurityInfoW(to.data(), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr,
                                             nullptr, nullptr, nullptr, &found);
  const std::unique_ptr<void, LocalReleaser> descriptor(found);
  if (result == ERROR_SUCCESS) {
    SetSecurityDescriptorControl(found, SE_DACL_AUTO_INHERIT_REQ, SE_DACL_AUTO_INHERIT_REQ);
    SetFileSecurityW(from.c_str(), DACL_SECURITY_INFORMATION, found);
    return;
  }
  ACL none = {};
  InitializeAcl(&none, sizeof none, ACL_REVISION);
  SetNamedSecurityInfoW(from.data(), SE_FILE_OBJECT,
                        DACL_SECURITY_INFORMATION | UNPROTECTED_DACL_SECURITY_INFORMATION, nullptr, nullptr,
                        &none, nullptr);
}

// A write-protected file cannot be replaced or removed. Takes the protection away. Returns the attributes
// that the file had.
DWORD AllowWriting(const std::wstring& path) {
  const DWORD attributes = GetFileAttributesW(path.c_str());
  if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_READONLY) != 0) {
    SetFileAttributesW(path.c_str(), attributes & ~static_cast<DWORD>(FILE_ATTRIBUTE_READONLY));
  }
  return attributes;
}

// Programs that look at new files, for viruses or for an index, hold a file for a moment. After one wait in
// vain, nothing waits until a rename succeeds: a program that holds a file for longer holds many of them.
bool MoveInTime(const std::wstring& source, const std::wstring& target, DWORD flags) {
  constexpr ULONGLONG kLongestMoment = 2000;
  constexpr DWORD kPause = 20;
  static std::atomic<bool> waitedInVain = false;
  const ULONGLONG begin = GetTickCount64();
  while (MoveFileExW(source.c_str(), target.c_str(), flags) == 0) {
    const DWORD error = GetLastError();
    const DWORD attributes = GetFileAttributesW(target.c_str());
    const bool directory =
        attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    const bool held =
        error == ERROR_ACCESS_DENIED || error == ERROR_SHARING_VIOLATION || error == ERROR_LOCK_VIOLATION;
    const bool over = GetTickCount64() - begin >= kLongestMoment;
    if (!held || directory || over || waitedInVain || Interrupted()) {
      waitedInVain = waitedInVain || (held && over);
      SetLastError(error);
      return false;
    }
    Sleep(kPause);
  }
  waitedInVain = false;
  return true;
}

bool Rename(const std::string& from, const std::string& to, DWORD flags, std::string& why) {
  if (IsUnusableName(to, why)) {
    return false;
  }
  const std::wstring source = internal::WidePath(from);
  const std::wstring target = internal::WidePath(to);
  const DWORD attributes =
      (flags & MOVEFILE_REPLACE_EXISTING) != 0 ? AllowWriting(target) : INVALID_FILE_ATTRIBUTES;
  const DWORD ownAttributes = GetFileAttributesW(source.c_str());
  TakeOverRights(source, target);
  // On some file systems the right to write and this attribute are the same.
  SetFileAttributesW(source.c_str(), ownAttributes);
  if (MoveInTime(source, target, flags | MOVEFILE_WRITE_THROUGH)) {
    return true;
  }
  why = ErrorText(GetLastError());
  if (attributes != INVALID_FILE_ATTRIBUTES) {
    SetFileAttributesW(target.c_str(), attributes);
  }
  AllowWriting(source);
  return false;
}

}  // namespace

bool ReplaceFile(const std::string& from, const std::string& to, std::string& why) {
  return Rename(from, to, MOVEFILE_REPLACE_EXISTING, why);
}

bool MoveToNewName(const std::string& from, const std::string& to, std::string& why) {
  return Rename(from, to, 0, why);
}

// The system frees a file by itself, outside of the rename.
std::unique_ptr<KeptFile> KeptFile::Keep(const std::string& /*path*/) { return nullptr; }

KeptFile::~KeptFile() = default;

bool CanRenameOpenFiles() { return false; }

}  // namespace platform
