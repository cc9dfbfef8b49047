#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <system_error>

#include "platform/data_file.h"

namespace platform {
namespace {

constexpr int kMostLinks = 40;

std::string ErrorText(int error) { return std::generic_category().message(error); }

bool MakeOne(const std::string& native, DirectoryAccess access, std::string& why, DirectorySync sync) {
  const mode_t mode = access == DirectoryAccess::kPrivate ? 0700 : 0777;
  if (mkdir(native.c_str(), mode) == 0) {
    return sync == DirectorySync::kLater || SyncDirectory(DirectoryOf(native), why);
  }
  const int error = errno;
  struct stat status = {};
  if (error == EEXIST && stat(native.c_str(), &status) == 0 && S_ISDIR(status.st_mode)) {
    return SyncDirectory(DirectoryOf(native), why);  // another process has just made it
  }
  why = ErrorText(error);
  return false;
}

}  // namespace

bool SyncDirectory(const std::string& path, std::string& why) {
  const int handle = open(NativePath(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  // Some file systems whose files are on no disk of their own do not have this operation.
  const bool good = handle >= 0 && (fsync(handle) == 0 || errno == EINVAL);
  if (!good) {
    why = ErrorText(errno);
  }
  if (handle >= 0) {
    close(handle);
  }
  return good;
}

bool SyncDirectoryChain(const std::string& path, std::string& why) {
  if (!SyncDirectory(path, why)) {
    return false;
  }
  std::array<char, PATH_MAX> full = {};
  if (realpath(NativePath(path).c_str(), full.data()) == nullptr) {
    why = ErrorText(errno);
    return false;
  }
  for (std::string above = full.data(); above != "/";) {
    above = DirectoryOf(above);
    if (!SyncDirectory(above, why) && access(above.c_str(), R_OK) == 0) {
      return false;
    }
  }
  why.clear();
  return true;
}

bool MakeDirectories(const std::string& path, DirectoryAccess access, std::string& why, DirectorySync sync) {
  const std::string native = NativePath(path);
  struct stat status = {};
  if (stat(native.c_str(), &status) == 0 && S_ISDIR(status.st_mode)) {
    return true;
  }
  for (std::size_t slash = native.find('/', 1); slash != std::string::npos;
       slash = native.find('/', slash + 1)) {
    const std::string above = native.substr(0, slash);
    if (stat(above.c_str(), &status) != 0 && !MakeOne(above, access, why, sync)) {
      return false;
    }
  }
  return MakeOne(native, access, why, sync);
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

}  // namespace platform
