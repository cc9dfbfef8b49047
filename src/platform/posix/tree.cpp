#include "platform/tree.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <system_error>

#include "platform/posix/file_facts.h"

namespace platform {
namespace {

bool Fail(std::string& why) {
  why = std::generic_category().message(errno);
  return false;
}

EntryKind KindOf(mode_t mode) {
  if (S_ISREG(mode)) {
    return EntryKind::kFile;
  }
  if (S_ISDIR(mode)) {
    return EntryKind::kDirectory;
  }
  return S_ISLNK(mode) ? EntryKind::kLink : EntryKind::kOther;
}

}  // namespace

bool ReadEntry(const std::string& path, Entry& entry, std::string& why) {
  const std::string native = NativePath(path);
  struct stat status = {};
  if (lstat(native.c_str(), &status) != 0) {
    return Fail(why);
  }
  entry.kind = KindOf(status.st_mode);
  entry.facts = internal::FactsOf(status);
  entry.id = internal::IdOf(status);
  entry.link.clear();
  if (entry.kind != EntryKind::kLink) {
    return true;
  }
  std::array<char, PATH_MAX> text = {};
  const ssize_t length = readlink(native.c_str(), text.data(), text.size());
  if (length <= 0) {
    return Fail(why);
  }
  entry.link.assign(text.data(), static_cast<std::size_t>(length));
  return true;
}

bool MakeLink(const std::string& text, const std::string& path, std::string& why) {
  return symlink(text.c_str(), NativePath(path).c_str()) == 0 || Fail(why);
}

void SetLinkFacts(const std::string& path, const FileFacts& facts) {
  const std::string native = NativePath(path);
  const auto times = internal::TimesOf(facts);
  (void)!lchown(native.c_str(), facts.owner, facts.group);
  (void)utimensat(AT_FDCWD, native.c_str(), times.data(), AT_SYMLINK_NOFOLLOW);
}

bool MakeUnfinishedDirectory(const std::string& path, std::string& why) {
  return MakeDirectories(path, DirectoryAccess::kPrivate, why, DirectorySync::kLater);
}

bool KeepsOwnerOut(const FileFacts& facts) { return (facts.mode & S_IRWXU) != S_IRWXU; }

bool SetDirectoryFacts(const std::string& path, const FileFacts& facts, std::string& why,
                       DirectorySync sync) {
  const int handle = open(NativePath(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (handle < 0) {
    return Fail(why);
  }
  const bool set =
      (internal::SetFactsOf(handle, facts) && (sync == DirectorySync::kLater || fsync(handle) == 0)) ||
      Fail(why);
  close(handle);
  return set;
}

}  // namespace platform
