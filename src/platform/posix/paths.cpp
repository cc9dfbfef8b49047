#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>

#include "platform/internal.h"

namespace platform {

bool IsSystemName(std::string_view name) { return !name.empty() && name.front() == '/'; }

std::string internal::SystemPath(std::string_view path) {
  std::string form(path);
  std::replace(form.begin(), form.end(), '\\', '/');
  while (form.size() > 1 && form.back() == '/') {
    form.pop_back();
  }
  return form;
}

PathInfo LookUp(const std::string& path) {
  struct stat status = {};
  if (stat(internal::SystemPath(path).c_str(), &status) != 0) {
    return {PathKind::kMissing, 0, errno};
  }
  if (S_ISREG(status.st_mode)) {
    return {PathKind::kFile, static_cast<std::uint64_t>(status.st_size), 0};
  }
  return {S_ISDIR(status.st_mode) ? PathKind::kDirectory : PathKind::kOther, 0, 0};
}

bool Exists(const std::string& path) { return LookUp(path).kind != PathKind::kMissing; }

bool ListDirectory(const std::string& path, const std::function<void(std::string_view)>& each,
                   std::string* why, std::string* unusableName) {
  const std::unique_ptr<DIR, int (*)(DIR*)> directory(opendir(internal::SystemPath(path).c_str()), closedir);
  const dirent* entry = nullptr;
  while (directory != nullptr) {
    errno = 0;
    entry = readdir(directory.get());
    if (entry == nullptr) {
      break;
    }
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") {
      each(name);
    }
  }
  const bool complete = directory != nullptr && errno == 0;
  if (!complete && why != nullptr) {
    *why = internal::LastErrorText();
  }
  if (unusableName != nullptr) {
    unusableName->clear();  // any name is usable here
  }
  return complete;
}

bool RemoveFile(const std::string& path) { return unlink(internal::SystemPath(path).c_str()) == 0; }

std::string TemporaryDirectory() {
  const char* directory = std::getenv("TMPDIR");
  return internal::SystemPath(directory != nullptr && *directory != '\0' ? directory : "/tmp");
}

}  // namespace platform
