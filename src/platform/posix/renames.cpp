#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "platform/data_file.h"
#include "platform/internal.h"
#include "platform/open_files.h"

namespace platform {

using internal::LastErrorText;

bool ReplaceFile(const std::string& from, const std::string& to, std::string& why) {
  if (rename(NativePath(from).c_str(), NativePath(to).c_str()) == 0) {
    return true;
  }
  why = LastErrorText();
  return false;
}

bool MoveToNewName(const std::string& from, const std::string& to, std::string& why) {
  const std::string source = NativePath(from);
  const std::string target = NativePath(to);
  if (renameat2(AT_FDCWD, source.c_str(), AT_FDCWD, target.c_str(), RENAME_NOREPLACE) == 0) {
    return true;
  }
  // Some file systems do not know this kind of rename, and some of these do not know hard links either.
  const bool unknown = errno == EINVAL || errno == ENOSYS || errno == EOPNOTSUPP;
  if (unknown && link(source.c_str(), target.c_str()) == 0) {
    unlink(source.c_str());
    return true;
  }
  struct stat status = {};
  if (unknown && errno != EEXIST && lstat(target.c_str(), &status) != 0) {
    return ReplaceFile(from, to, why);
  }
  why = LastErrorText();
  return false;
}

std::unique_ptr<KeptFile> KeptFile::Keep(const std::string& path) {
  const int handle = open(NativePath(path).c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC);
  return std::unique_ptr<KeptFile>(handle >= 0 ? new KeptFile(handle) : nullptr);
}

KeptFile::~KeptFile() { close(handle_); }

bool CanRenameOpenFiles() { return true; }

}  // namespace platform
