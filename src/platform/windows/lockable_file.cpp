#include <io.h>
#include <windows.h>

#include "platform/internal.h"
#include "platform/windows/data_names.h"
#include "platform/windows/owner_alone.h"
#include "platform/windows/wide.h"

namespace platform::internal {
namespace {

HANDLE Handle(std::intptr_t handle) { return reinterpret_cast<HANDLE>(handle); }

OVERLAPPED At(std::int64_t position) {
  OVERLAPPED place = {};
  place.Offset = static_cast<DWORD>(position & 0xFFFFFFFF);
  place.OffsetHigh = static_cast<DWORD>(position >> 32);
  return place;
}

DWORD Low(std::uint64_t length) { return static_cast<DWORD>(length & 0xFFFFFFFF); }
DWORD High(std::uint64_t length) { return static_cast<DWORD>(length >> 32); }

}  // namespace

LockableFile::LockableFile(const std::string& path)
    : handle_(reinterpret_cast<std::intptr_t>(INVALID_HANDLE_VALUE)) {
  SECURITY_ATTRIBUTES ownerAlone = OwnerAlone(false);
  handle_ =
      reinterpret_cast<std::intptr_t>(CreateFileW(WidePath(path).c_str(), GENERIC_READ | GENERIC_WRITE,
                                                  FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                                  &ownerAlone, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
  if (!IsOpen()) {
    why_ = LastErrorText();
    return;
  }
  if (GetFileType(Handle(handle_)) != FILE_TYPE_DISK) {
    why_ = "it is no regular file";
    CloseHandle(Release());
    return;
  }
  endAtOpening_ = End();
}

LockableFile::LockableFile(std::FILE* stream) : handle_(_get_osfhandle(_fileno(stream))), owned_(false) {}

LockableFile::~LockableFile() {
  if (IsOpen() && owned_) {
    CloseHandle(handle_);
  }
}

bool LockableFile::IsOpen() const { return Handle(handle_) != INVALID_HANDLE_VALUE; }

std::int64_t LockableFile::End() const {
  LARGE_INTEGER size = {};
  return GetFileSizeEx(Handle(handle_), &size) != 0 ? size.QuadPart : -1;
}

LockableFile::Lock LockableFile::TryLock(std::int64_t position, std::uint64_t length) const {
  OVERLAPPED place = At(position);
  if (LockFileEx(Handle(handle_), LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY, 0, Low(length),
                 High(length), &place) != 0) {
    return Lock::kGranted;
  }
  const DWORD error = GetLastError();
  return error == ERROR_LOCK_VIOLATION || error == ERROR_IO_PENDING ? Lock::kHeldByAnother
                                                                    : Lock::kImpossible;
}

void LockableFile::Unlock(std::int64_t position, std::uint64_t length) const {
  OVERLAPPED place = At(position);
  UnlockFileEx(Handle(handle_), 0, Low(length), High(length), &place);
}

std::size_t LockableFile::Append(std::int64_t position, std::string_view text) const {
  OVERLAPPED place = At(position);
  DWORD written = 0;
  WriteFile(Handle(handle_), text.data(), static_cast<DWORD>(text.size()), &written, &place);
  return written;
}

void LockableFile::CutTo(std::int64_t size) const {
  LARGE_INTEGER position = {};
  position.QuadPart = size;
  if (SetFilePointerEx(Handle(handle_), position, nullptr, FILE_BEGIN) != 0) {
    SetEndOfFile(Handle(handle_));
  }
}

std::intptr_t LockableFile::Release() {
  const std::intptr_t handle = handle_;
  handle_ = reinterpret_cast<std::intptr_t>(INVALID_HANDLE_VALUE);
  return handle;
}

std::string LastErrorText() { return ErrorText(GetLastError()); }

void LockableFile::CloseHandle(std::intptr_t handle) { ::CloseHandle(Handle(handle)); }

bool LockableFile::LocksLetRead() { return false; }

}  // namespace platform::internal
