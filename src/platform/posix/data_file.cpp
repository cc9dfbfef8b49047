#include "platform/data_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

#include "platform/internal.h"
#include "platform/posix/file_facts.h"

namespace platform {
namespace {

std::string ErrorText(int error) { return std::generic_category().message(error); }

bool IsRegular(const struct stat& status, std::string& why) {
  if (!S_ISREG(status.st_mode)) {
    why = S_ISDIR(status.st_mode) ? "it is a directory" : "it is no regular file";
  }
  return S_ISREG(status.st_mode);
}

// Opens a file that was looked at, if it is a regular file with this id, before and after the opening;
// `status` gets what it is then. In between, something else may take its place: without O_NONBLOCK, opening a
// pipe would wait for its writer.
int OpenRegular(const std::string& native, int flags, const FileId* id, struct stat& status,
                std::string& why) {
  if (!IsRegular(status, why)) {
    return -1;
  }
  const int handle = open(native.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK | flags);
  if (handle < 0 || fstat(handle, &status) != 0) {
    why = ErrorText(errno);
  } else if (!IsRegular(status, why)) {
    // `why` says it
  } else if (id != nullptr && internal::IdOf(status) != *id) {
    why = "another file has taken its place";
  } else {
    return handle;
  }
  if (handle >= 0) {
    close(handle);
  }
  return -1;
}

}  // namespace

std::unique_ptr<DataFile> DataFile::OpenForReading(const std::string& path, std::string& why) {
  struct stat status = {};
  if (stat(NativePath(path).c_str(), &status) != 0) {
    why = ErrorText(errno);
    return nullptr;
  }
  const int handle = OpenRegular(NativePath(path), 0, nullptr, status, why);
  return handle < 0 ? nullptr : std::unique_ptr<DataFile>(new DataFile(handle, internal::FactsOf(status)));
}

std::unique_ptr<DataFile> DataFile::OpenEntry(const std::string& path, const FileId& id, std::string& why) {
  struct stat status = {};
  if (lstat(NativePath(path).c_str(), &status) != 0) {
    why = ErrorText(errno);
    return nullptr;
  }
  const int handle = OpenRegular(NativePath(path), O_NOFOLLOW, &id, status, why);
  return handle < 0 ? nullptr : std::unique_ptr<DataFile>(new DataFile(handle, internal::FactsOf(status)));
}

std::unique_ptr<DataFile> DataFile::CreateNew(const std::string& path, std::string& why) {
  const int handle = open(NativePath(path).c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  if (handle < 0) {
    why = ErrorText(errno);
    return nullptr;
  }
  return std::unique_ptr<DataFile>(new DataFile(handle));
}

std::unique_ptr<DataFile> DataFile::OpenEmptied(const std::string& path, std::string& why) {
  const int handle = open(NativePath(path).c_str(), O_RDWR | O_CLOEXEC | O_NOCTTY | O_NONBLOCK | O_NOFOLLOW);
  std::unique_ptr<DataFile> file(handle < 0 ? nullptr : new DataFile(handle));
  struct stat status = {};
  if (file == nullptr || fstat(handle, &status) != 0) {
    why = ErrorText(errno);
    return nullptr;
  }
  if (!S_ISREG(status.st_mode)) {
    why = "it is no regular file";
    return nullptr;
  }
  if (!file->SetSize(0)) {
    why = file->Why();
    return nullptr;
  }
  return file;
}

DataFile::~DataFile() {
  if (handle_ >= 0) {
    close(static_cast<int>(handle_));
  }
}

bool DataFile::Fail() {
  why_ = ErrorText(errno);
  return false;
}

bool DataFile::ReadAt(std::uint64_t offset, void* bytes, std::size_t size, std::size_t& got) {
  got = 0;
  while (got < size) {
    const ssize_t count = pread(static_cast<int>(handle_), static_cast<char*>(bytes) + got, size - got,
                                static_cast<off_t>(offset + got));
    if (count < 0 && errno != EINTR) {
      return Fail();
    }
    if (count == 0) {
      break;
    }
    got += static_cast<std::size_t>(std::max<ssize_t>(count, 0));
  }
  return true;
}

std::uint64_t DataFile::NextData(std::uint64_t offset, std::uint64_t size) {
  const off_t next = lseek(static_cast<int>(handle_), static_cast<off_t>(offset), SEEK_DATA);
  if (next >= 0) {
    return static_cast<std::uint64_t>(next);
  }
  return errno == ENXIO ? size : offset;
}

std::uint64_t DataFile::NextHole(std::uint64_t offset, std::uint64_t size) {
  const off_t next = lseek(static_cast<int>(handle_), static_cast<off_t>(offset), SEEK_HOLE);
  return next >= 0 ? std::min(static_cast<std::uint64_t>(next), size) : size;
}

bool DataFile::WriteAt(std::uint64_t offset, const void* bytes, std::size_t size) {
  return WriteAt(offset, bytes, size, why_);
}

bool DataFile::WriteAt(std::uint64_t offset, const void* bytes, std::size_t size, std::string& why) {
  std::size_t done = 0;
  while (done < size) {
    const ssize_t count = pwrite(static_cast<int>(handle_), static_cast<const char*>(bytes) + done,
                                 size - done, static_cast<off_t>(offset + done));
    if (count < 0 && errno != EINTR) {
      why = ErrorText(errno);
      return false;
    }
    done += static_cast<std::size_t>(std::max<ssize_t>(count, 0));
  }
  return true;
}

bool DataFile::SetSize(std::uint64_t size) {
  return ftruncate(static_cast<int>(handle_), static_cast<off_t>(size)) == 0 || Fail();
}

bool DataFile::Extend(std::uint64_t size) { return SetSize(size); }

bool DataFile::Facts(FileFacts& facts) {
  struct stat status = {};
  if (fstat(static_cast<int>(handle_), &status) != 0) {
    return Fail();
  }
  facts = internal::FactsOf(status);
  return true;
}

bool DataFile::SetFacts(const FileFacts& facts) {
  return internal::SetFactsOf(static_cast<int>(handle_), facts) || Fail();
}

bool DataFile::LetOthersRead() {
  constexpr mode_t kForReading = S_IRUSR | S_IWUSR | S_IRGRP | S_IROTH;
  return fchmod(static_cast<int>(handle_), kForReading) == 0 || Fail();
}

bool DataFile::Id(FileId& id) {
  struct stat status = {};
  if (fstat(static_cast<int>(handle_), &status) != 0) {
    return Fail();
  }
  id = internal::IdOf(status);
  return true;
}

void DataFile::AdviseSequential() {
  (void)posix_fadvise(static_cast<int>(handle_), 0, 0, POSIX_FADV_SEQUENTIAL);
}

void DataFile::StartWriteback(std::uint64_t offset, std::uint64_t length) {
  (void)sync_file_range(static_cast<int>(handle_), static_cast<off_t>(offset), static_cast<off_t>(length),
                        SYNC_FILE_RANGE_WRITE);
}

bool DataFile::WasCached(std::uint64_t offset, std::uint64_t length) {
  const auto inMemory = [this](std::uint64_t place) {
    char byte = 0;
    const iovec piece = {&byte, 1};
    const ssize_t got = preadv2(static_cast<int>(handle_), &piece, 1, static_cast<off_t>(place), RWF_NOWAIT);
    return got >= 0 || errno != EAGAIN;
  };
  return inMemory(offset) && (length <= 1 || inMemory(offset + length - 1));
}

bool DataFile::ReadCached(std::uint64_t offset, void* bytes, std::size_t size) {
  const iovec piece = {bytes, size};
  const ssize_t got = preadv2(static_cast<int>(handle_), &piece, 1, static_cast<off_t>(offset), RWF_NOWAIT);
  return got >= 0 && static_cast<std::size_t>(got) == size;
}

void DataFile::DropCache(std::uint64_t offset, std::uint64_t length) {
  (void)posix_fadvise(static_cast<int>(handle_), static_cast<off_t>(offset), static_cast<off_t>(length),
                      POSIX_FADV_DONTNEED);
}

bool DataFile::Sync() { return fsync(static_cast<int>(handle_)) == 0 || Fail(); }

bool DataFile::Close() {
  const int handle = static_cast<int>(handle_);
  handle_ = -1;
  return handle < 0 || close(handle) == 0 || Fail();
}

bool WriteToStandardError(std::string_view text) {
  while (!text.empty()) {
    const ssize_t count = write(STDERR_FILENO, text.data(), text.size());
    if (count < 0 && errno == EINTR) {
      continue;
    }
    if (count <= 0) {
      return false;
    }
    text.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

}  // namespace platform
