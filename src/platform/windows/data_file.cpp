#include "platform/data_file.h"

#include <aclapi.h>
#include <windows.h>

#include <algorithm>
#include <atomic>

#include "platform/internal.h"
#include "platform/windows/data_names.h"
#include "platform/windows/file_facts.h"
#include "platform/windows/owner_alone.h"
#include "platform/windows/wide.h"

#undef ReplaceFile  // the system's header has a macro of this name

namespace platform {
namespace {

using internal::ErrorText;
using internal::IsUnusableName;

constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
constexpr std::size_t kMostAtOnce = 64 * 1024 * 1024;

HANDLE Handle(std::intptr_t handle) { return reinterpret_cast<HANDLE>(handle); }

std::intptr_t Number(HANDLE handle) { return reinterpret_cast<std::intptr_t>(handle); }

const std::intptr_t kNoHandle = Number(INVALID_HANDLE_VALUE);

OVERLAPPED At(std::uint64_t offset) {
  OVERLAPPED place = {};
  place.Offset = static_cast<DWORD>(offset & 0xFFFFFFFF);
  place.OffsetHigh = static_cast<DWORD>(offset >> 32);
  return place;
}

// What is written, or cut, behind the end leaves a hole. A file system that knows none fills it with zeros.
void PrepareHole(HANDLE file, std::uint64_t offset) {
  LARGE_INTEGER size = {};
  if (GetFileSizeEx(file, &size) != 0 && static_cast<std::uint64_t>(size.QuadPart) < offset) {
    DWORD got = 0;
    DeviceIoControl(file, FSCTL_SET_SPARSE, nullptr, 0, nullptr, 0, &got, nullptr);
  }
}

struct LocalReleaser {
  void operator()(void* memory) const { LocalFree(memory); }
};

// A file gets the access rights of the one whose place it takes, or those that its directory gives. A file
// system without such rights has none to give.
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

// A file that may not be written cannot be replaced or removed either. Gives the attributes it had.
DWORD AllowWriting(const std::wstring& path) {
  const DWORD attributes = GetFileAttributesW(path.c_str());
  if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_READONLY) != 0) {
    SetFileAttributesW(path.c_str(), attributes & ~static_cast<DWORD>(FILE_ATTRIBUTE_READONLY));
  }
  return attributes;
}

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

HANDLE OpenRegular(const std::string& path, DWORD flags, std::string& why) {
  if (IsUnusableName(path, why)) {
    return INVALID_HANDLE_VALUE;
  }
  if (LookUp(path).kind == PathKind::kDirectory) {
    why = "it is a directory";
    return INVALID_HANDLE_VALUE;
  }
  const HANDLE handle = CreateFileW(internal::WidePath(path).c_str(), GENERIC_READ, kShareAll, nullptr,
                                    OPEN_EXISTING, FILE_FLAG_SEQUENTIAL_SCAN | flags, nullptr);
  if (handle == INVALID_HANDLE_VALUE) {
    why = ErrorText(GetLastError());
    return handle;
  }
  if (GetFileType(handle) != FILE_TYPE_DISK) {
    why = "it is no regular file";
    CloseHandle(handle);
    return INVALID_HANDLE_VALUE;
  }
  return handle;
}

// One byte that no file has: who locks it keeps nobody from reading or writing.
OVERLAPPED LockOfOpening() { return At(std::uint64_t{1} << 62); }

// The ranges of the file that are no holes, from the offset on, as many as fit. False if the system does not
// tell.
bool AllocatedRanges(HANDLE file, std::uint64_t offset, std::uint64_t size,
                     std::vector<FILE_ALLOCATED_RANGE_BUFFER>& ranges) {
  FILE_ALLOCATED_RANGE_BUFFER asked = {};
  asked.FileOffset.QuadPart = static_cast<LONGLONG>(offset);
  asked.Length.QuadPart = static_cast<LONGLONG>(size - std::min(offset, size));
  DWORD got = 0;
  if (DeviceIoControl(file, FSCTL_QUERY_ALLOCATED_RANGES, &asked, sizeof asked, ranges.data(),
                      static_cast<DWORD>(ranges.size() * sizeof(FILE_ALLOCATED_RANGE_BUFFER)), &got,
                      nullptr) == 0 &&
      GetLastError() != ERROR_MORE_DATA) {
    return false;
  }
  ranges.resize(got / sizeof(FILE_ALLOCATED_RANGE_BUFFER));
  return true;
}

std::uint64_t BeginOf(const FILE_ALLOCATED_RANGE_BUFFER& range) {
  return static_cast<std::uint64_t>(range.FileOffset.QuadPart);
}

std::uint64_t EndOf(const FILE_ALLOCATED_RANGE_BUFFER& range) {
  return BeginOf(range) + static_cast<std::uint64_t>(range.Length.QuadPart);
}

}  // namespace

std::unique_ptr<DataFile> DataFile::OpenForReading(const std::string& path, std::string& why) {
  const HANDLE handle = OpenRegular(path, 0, why);
  if (handle == INVALID_HANDLE_VALUE) {
    return nullptr;
  }
  std::unique_ptr<DataFile> file(new DataFile(Number(handle)));
  if (!file->Facts(file->factsAtOpening_)) {
    why = file->Why();
    return nullptr;
  }
  return file;
}

std::unique_ptr<DataFile> DataFile::OpenEntry(const std::string& path, const FileId& id, std::string& why) {
  const HANDLE handle = OpenRegular(path, FILE_FLAG_OPEN_REPARSE_POINT, why);
  if (handle == INVALID_HANDLE_VALUE) {
    return nullptr;
  }
  std::unique_ptr<DataFile> file(new DataFile(Number(handle)));
  FileId opened;
  if (internal::IsLink(handle)) {
    why = "it is a link";
    return nullptr;
  }
  // What a part of the system reads in the file's place, such as data that is kept once for many files, is
  // not what stands in the file itself.
  if (internal::IsReparsePoint(handle)) {
    file = OpenForReading(path, why);
  }
  if (file == nullptr || !file->Id(opened) || !file->Facts(file->factsAtOpening_)) {
    why = file == nullptr ? why : file->Why();
    return nullptr;
  }
  if (opened != id) {
    why = "another file has taken its place";
    return nullptr;
  }
  return file;
}

std::unique_ptr<DataFile> DataFile::CreateNew(const std::string& path, std::string& why) {
  if (IsUnusableName(path, why)) {
    return nullptr;
  }
  SECURITY_ATTRIBUTES ownerAlone = internal::OwnerAlone(false);
  const HANDLE handle = CreateFileW(internal::WidePath(path).c_str(), GENERIC_READ | GENERIC_WRITE, kShareAll,
                                    &ownerAlone, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (handle == INVALID_HANDLE_VALUE) {
    why = ErrorText(GetLastError());
    return nullptr;
  }
  return std::unique_ptr<DataFile>(new DataFile(Number(handle)));
}

std::unique_ptr<DataFile> DataFile::OpenEmptied(const std::string& path, std::string& why) {
  if (IsUnusableName(path, why)) {
    return nullptr;
  }
  const auto open = [&path](DWORD flags) {
    return CreateFileW(internal::WidePath(path).c_str(), GENERIC_READ | GENERIC_WRITE, kShareAll, nullptr,
                       OPEN_EXISTING, flags, nullptr);
  };
  HANDLE handle = open(FILE_FLAG_OPEN_REPARSE_POINT);
  if (handle == INVALID_HANDLE_VALUE) {
    why = ErrorText(GetLastError());
    return nullptr;
  }
  std::unique_ptr<DataFile> file(new DataFile(Number(handle)));
  if (GetFileType(handle) != FILE_TYPE_DISK || internal::IsLink(handle)) {
    why = "it is no regular file";
    return nullptr;
  }
  // A part of the system stands in for such a file, and has to know what is written.
  if (internal::IsReparsePoint(handle)) {
    handle = open(0);
    if (handle == INVALID_HANDLE_VALUE) {
      why = ErrorText(GetLastError());
      return nullptr;
    }
    file.reset(new DataFile(Number(handle)));
  }
  if (!file->Extend(0)) {
    why = file->Why();
    return nullptr;
  }
  return file;
}

DataFile::~DataFile() {
  if (handle_ != kNoHandle) {
    CloseHandle(Handle(handle_));
  }
}

bool DataFile::Fail() {
  why_ = ErrorText(GetLastError());
  return false;
}

bool DataFile::ReadAt(std::uint64_t offset, void* bytes, std::size_t size, std::size_t& got) {
  got = 0;
  while (got < size) {
    OVERLAPPED place = At(offset + got);
    DWORD count = 0;
    const DWORD wanted = static_cast<DWORD>(std::min(size - got, kMostAtOnce));
    if (ReadFile(Handle(handle_), static_cast<char*>(bytes) + got, wanted, &count, &place) == 0 &&
        GetLastError() != ERROR_HANDLE_EOF) {
      return Fail();
    }
    if (count == 0) {
      break;
    }
    got += count;
  }
  return true;
}

std::uint64_t DataFile::NextData(std::uint64_t offset, std::uint64_t size) {
  std::vector<FILE_ALLOCATED_RANGE_BUFFER> ranges(1);
  if (!AllocatedRanges(Handle(handle_), offset, size, ranges)) {
    return offset;
  }
  return ranges.empty() ? size : std::max(offset, BeginOf(ranges.front()));
}

std::uint64_t DataFile::NextHole(std::uint64_t offset, std::uint64_t size) {
  constexpr std::size_t kAtOnce = 64;
  std::uint64_t end = offset;
  for (;;) {
    std::vector<FILE_ALLOCATED_RANGE_BUFFER> ranges(kAtOnce);
    if (!AllocatedRanges(Handle(handle_), end, size, ranges)) {
      return size;
    }
    // Ranges that touch each other are one.
    for (const FILE_ALLOCATED_RANGE_BUFFER& range : ranges) {
      if (BeginOf(range) > end) {
        return end;
      }
      end = std::max(end, EndOf(range));
    }
    if (ranges.size() < kAtOnce || end >= size) {
      return std::min(end, size);
    }
  }
}

bool DataFile::WriteAt(std::uint64_t offset, const void* bytes, std::size_t size) {
  return WriteAt(offset, bytes, size, why_);
}

bool DataFile::WriteAt(std::uint64_t offset, const void* bytes, std::size_t size, std::string& why) {
  PrepareHole(Handle(handle_), offset);
  std::size_t done = 0;
  while (done < size) {
    OVERLAPPED place = At(offset + done);
    DWORD count = 0;
    const DWORD wanted = static_cast<DWORD>(std::min(size - done, kMostAtOnce));
    if (WriteFile(Handle(handle_), static_cast<const char*>(bytes) + done, wanted, &count, &place) == 0) {
      why = ErrorText(GetLastError());
      return false;
    }
    done += count;
  }
  return true;
}

bool DataFile::SetSize(std::uint64_t size) {
  PrepareHole(Handle(handle_), size);
  return Extend(size);
}

bool DataFile::Extend(std::uint64_t size) {
  LARGE_INTEGER end = {};
  end.QuadPart = static_cast<LONGLONG>(size);
  return (SetFilePointerEx(Handle(handle_), end, nullptr, FILE_BEGIN) != 0 &&
          SetEndOfFile(Handle(handle_)) != 0) ||
         Fail();
}

bool DataFile::Facts(FileFacts& facts) { return internal::FactsOf(Handle(handle_), facts) || Fail(); }

bool DataFile::SetFacts(const FileFacts& facts) {
  return internal::SetFactsOf(Handle(handle_), facts) || Fail();
}

bool DataFile::LetOthersRead() { return true; }

bool DataFile::Id(FileId& id) {
  BY_HANDLE_FILE_INFORMATION info = {};
  if (GetFileInformationByHandle(Handle(handle_), &info) == 0) {
    return Fail();
  }
  id = internal::IdOf(info);
  return true;
}

// Every file is opened for reading in order, and of the rest the system has no such thing.
void DataFile::AdviseSequential() {}
void DataFile::StartWriteback(std::uint64_t /*offset*/, std::uint64_t /*length*/) {}
bool DataFile::WasCached(std::uint64_t /*offset*/, std::uint64_t /*length*/) { return true; }
bool DataFile::ReadCached(std::uint64_t /*offset*/, void* /*bytes*/, std::size_t /*size*/) { return false; }
void DataFile::DropCache(std::uint64_t /*offset*/, std::uint64_t /*length*/) {}

bool DataFile::TryLock() {
  OVERLAPPED place = LockOfOpening();
  if (LockFileEx(Handle(handle_), LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY, 0, 1, 0, &place) !=
      0) {
    return true;
  }
  if (GetLastError() == ERROR_LOCK_VIOLATION || GetLastError() == ERROR_IO_PENDING) {
    why_ = "another process has locked it";
    return false;
  }
  return Fail();
}

bool DataFile::Sync() { return FlushFileBuffers(Handle(handle_)) != 0 || Fail(); }

bool DataFile::Close() {
  const std::intptr_t handle = handle_;
  handle_ = kNoHandle;
  return handle == kNoHandle || CloseHandle(Handle(handle)) != 0 || Fail();
}

namespace {

// Who looks at new files, for viruses or for an index, holds them for a moment. After a wait in vain there is
// none until a rename succeeds: who holds files for longer holds many of them.
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
  // The right to write and the attribute are one thing to some file systems.
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

bool IsLocked(const std::string& path, bool& locked, std::string& why) {
  const HANDLE handle = CreateFileW(internal::WidePath(path).c_str(), GENERIC_READ, kShareAll, nullptr,
                                    OPEN_EXISTING, 0, nullptr);
  if (handle == INVALID_HANDLE_VALUE) {
    why = ErrorText(GetLastError());
    return false;
  }
  OVERLAPPED place = LockOfOpening();
  const bool free =
      LockFileEx(handle, LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY, 0, 1, 0, &place) != 0;
  const DWORD error = free ? ERROR_SUCCESS : GetLastError();
  CloseHandle(handle);
  locked = error == ERROR_LOCK_VIOLATION || error == ERROR_IO_PENDING;
  if (!free && !locked) {
    why = ErrorText(error);
  }
  return free || locked;
}

// The system writes the names of a directory with its files, in an order that no power failure disturbs.
// Where it lets us, they are written now; it does not say of every directory that it could not.
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
  // The root of a volume stands for all of it, and is in no directory whose names could be missing.
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
