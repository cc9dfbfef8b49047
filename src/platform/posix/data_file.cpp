#include "platform/data_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <system_error>

#include "platform/internal.h"
#include "platform/posix/file_facts.h"

namespace platform {
namespace {

constexpr int kMostLinks = 40;

std::string ErrorText(int error) { return std::generic_category().message(error); }

bool MakeOne(const std::string& native, DirectoryAccess access, std::string& why) {
  const mode_t mode = access == DirectoryAccess::kPrivate ? 0700 : 0777;
  if (mkdir(native.c_str(), mode) == 0) {
    return SyncDirectory(DirectoryOf(native), why);
  }
  const int error = errno;
  struct stat status = {};
  if (error == EEXIST && stat(native.c_str(), &status) == 0 && S_ISDIR(status.st_mode)) {
    return true;
  }
  why = ErrorText(error);
  return false;
}

}  // namespace

std::unique_ptr<DataFile> DataFile::OpenForReading(const std::string& path, std::string& why) {
  // Without O_NONBLOCK the opening of a pipe would wait for its writer.
  const int handle = open(NativePath(path).c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
  if (handle < 0) {
    why = ErrorText(errno);
    return nullptr;
  }
  std::unique_ptr<DataFile> file(new DataFile(handle));
  struct stat status = {};
  if (fstat(handle, &status) != 0) {
    why = ErrorText(errno);
    return nullptr;
  }
  if (!S_ISREG(status.st_mode)) {
    why = S_ISDIR(status.st_mode) ? "it is a directory" : "it is no regular file";
    return nullptr;
  }
  (void)posix_fadvise(handle, 0, 0, POSIX_FADV_SEQUENTIAL);
  return file;
}

std::unique_ptr<DataFile> DataFile::CreateNew(const std::string& path, std::string& why) {
  const int handle = open(NativePath(path).c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  if (handle < 0) {
    why = ErrorText(errno);
    return nullptr;
  }
  return std::unique_ptr<DataFile>(new DataFile(handle));
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

bool DataFile::WriteAt(std::uint64_t offset, const void* bytes, std::size_t size) {
  std::size_t done = 0;
  while (done < size) {
    const ssize_t count = pwrite(static_cast<int>(handle_), static_cast<const char*>(bytes) + done,
                                 size - done, static_cast<off_t>(offset + done));
    if (count < 0 && errno != EINTR) {
      return Fail();
    }
    done += static_cast<std::size_t>(std::max<ssize_t>(count, 0));
  }
  return true;
}

bool DataFile::SetSize(std::uint64_t size) {
  return ftruncate(static_cast<int>(handle_), static_cast<off_t>(size)) == 0 || Fail();
}

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

void DataFile::BeginSync() { (void)sync_file_range(static_cast<int>(handle_), 0, 0, SYNC_FILE_RANGE_WRITE); }

bool DataFile::Sync() { return fsync(static_cast<int>(handle_)) == 0 || Fail(); }

bool DataFile::Close() {
  const int handle = static_cast<int>(handle_);
  handle_ = -1;
  return handle < 0 || close(handle) == 0 || Fail();
}

bool ReplaceFile(const std::string& from, const std::string& to, std::string& why) {
  if (rename(NativePath(from).c_str(), NativePath(to).c_str()) == 0) {
    return true;
  }
  why = ErrorText(errno);
  return false;
}

bool SyncDirectory(const std::string& path, std::string& why) {
  const int handle = open(NativePath(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  const bool good = handle >= 0 && fsync(handle) == 0;
  if (!good) {
    why = ErrorText(errno);
  }
  if (handle >= 0) {
    close(handle);
  }
  return good;
}

bool MakeDirectories(const std::string& path, DirectoryAccess access, std::string& why) {
  const std::string native = NativePath(path);
  struct stat status = {};
  if (stat(native.c_str(), &status) == 0 && S_ISDIR(status.st_mode)) {
    return true;
  }
  for (std::size_t slash = native.find('/', 1); slash != std::string::npos;
       slash = native.find('/', slash + 1)) {
    const std::string above = native.substr(0, slash);
    if (stat(above.c_str(), &status) != 0 && !MakeOne(above, access, why)) {
      return false;
    }
  }
  return MakeOne(native, access, why);
}

std::string DirectoryOf(const std::string& path) {
  const std::size_t separator = path.find_last_of("/\\");
  if (separator == std::string::npos) {
    return ".";
  }
  return separator == 0 ? path.substr(0, 1) : path.substr(0, separator);
}

bool FollowLinks(const std::string& path, std::string& target, std::string& why) {
  target = path;
  for (int links = 0; links <= kMostLinks; ++links) {
    struct stat status = {};
    const std::string native = NativePath(target);
    if (lstat(native.c_str(), &status) != 0 || !S_ISLNK(status.st_mode)) {
      return true;
    }
    char text[PATH_MAX];
    const ssize_t length = readlink(native.c_str(), text, sizeof text);
    if (length <= 0) {
      why = ErrorText(errno);
      return false;
    }
    const std::string next(text, static_cast<std::size_t>(length));
    if (next.find('\\') != std::string::npos) {
      why = "it leads to a name with a backslash";
      return false;
    }
    target = IsAbsolute(next) ? next : DirectoryOf(native) + "/" + next;
  }
  why = ErrorText(ELOOP);
  return false;
}

std::string NativePath(const std::string& path) { return internal::SystemPath(path); }

bool IsAbsolute(const std::string& path) { return !path.empty() && (path[0] == '/' || path[0] == '\\'); }

std::string FoldName(std::string_view name) {
  std::string folded(name);
  std::replace(folded.begin(), folded.end(), '\\', '/');
  return folded;
}

std::string UserStateDirectory() {
  std::string directory;
  if (EnvironmentVariable("XDG_STATE_HOME", directory) && IsAbsolute(directory)) {
    return directory;
  }
  return EnvironmentVariable("HOME", directory) ? directory + "/.local/state" : "";
}

std::string ProgramDirectory() {
  char text[PATH_MAX];
  const ssize_t length = readlink("/proc/self/exe", text, sizeof text);
  return length <= 0 ? "." : DirectoryOf(std::string(text, static_cast<std::size_t>(length)));
}

void WriteToStandardError(std::string_view text) {
  while (!text.empty()) {
    const ssize_t count = write(STDERR_FILENO, text.data(), text.size());
    if (count < 0 && errno == EINTR) {
      continue;
    }
    if (count <= 0) {
      return;
    }
    text.remove_prefix(static_cast<std::size_t>(count));
  }
}

}  // namespace platform
