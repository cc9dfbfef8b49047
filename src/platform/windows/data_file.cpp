#include "platform/data_file.h"

#include <windows.h>

#include <algorithm>

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

// Makes sure that a write, or a new size, beyond the end of the file leaves a hole. A file system without
// holes fills it with zeros.
void PrepareHole(HANDLE file, std::uint64_t offset) {
  LARGE_INTEGER size = {};
  if (GetFileSizeEx(file, &size) != 0 && static_cast<std::uint64_t>(size.QuadPart) < offset) {
    DWORD got = 0;
    DeviceIoControl(file, FSCTL_SET_SPARSE, nullptr, 0, nullptr, 0, &got, nullptr);
  }
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

// The ranges of the file that are not holes, from `offset` on, as many as fit into `ranges`. False if the
// system does not tell.
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
  // If a part of the system provides the data of the file, such as data that is stored once for many files,
  // they are not in the file itself. Then the file must be opened in the usual way.
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
  // A part of the system handles such a file and must know what is written. So it is opened in the usual way.
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
    // Ranges that touch each other count as one.
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

// Every file is opened for reading in order. The system has nothing like the other operations.
void DataFile::AdviseSequential() {}
void DataFile::StartWriteback(std::uint64_t /*offset*/, std::uint64_t /*length*/) {}
bool DataFile::WasCached(std::uint64_t /*offset*/, std::uint64_t /*length*/) { return true; }
bool DataFile::ReadCached(std::uint64_t /*offset*/, void* /*bytes*/, std::size_t /*size*/) { return false; }
void DataFile::DropCache(std::uint64_t /*offset*/, std::uint64_t /*length*/) {}

bool DataFile::Sync() { return FlushFileBuffers(Handle(handle_)) != 0 || Fail(); }

bool DataFile::Close() {
  const std::intptr_t handle = handle_;
  handle_ = kNoHandle;
  return handle == kNoHandle || CloseHandle(Handle(handle)) != 0 || Fail();
}

}  // namespace platform
