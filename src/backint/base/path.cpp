#include "backint/base/path.h"

#include "backint/base/text.h"
#include "common/cm_common.h"
#include "platform/failures.h"
#include "platform/platform.h"

namespace {

bool CouldBeOne(const std::string& path) {
  const std::size_t blank = path.find(' ');
  return !path.empty() && (blank == std::string::npos || path.size() - blank <= 3);
}

}  // namespace

bool FileExists(const std::string& path) { return !path.empty() && platform::Exists(path); }

bool IsMissing(const std::string& path) {
  const platform::PathInfo found = platform::LookUp(path);
  return found.kind == platform::PathKind::kMissing && platform::MeansMissing(found.error);
}

bool IsFullPath(const std::string& path) {
  const std::size_t backslash = path.find('\\');
  return (backslash != std::string::npos && backslash >= 2) || platform::IsSystemName(path);
}

bool IsDirectory(const std::string& path) {
  return CouldBeOne(path) && platform::LookUp(path).kind == platform::PathKind::kDirectory;
}

bool IsDirectory(const std::string& path, const platform::PathInfo& info) {
  return CouldBeOne(path) && info.kind == platform::PathKind::kDirectory;
}

void ReallocateItem(std::string& item, std::string& directory) {
  const std::string named = platform::ToSystemForm(item);
  const std::size_t separator = platform::LastSeparator(named);
  if (separator == std::string::npos) {
    return;
  }
  directory = WithSeparator(directory, platform::SeparatorOf(directory));
  item = directory + named.substr(separator + 1);
}

std::string WithSeparator(std::string directory, char separator) {
  if (!EndsWithChar(directory, separator)) {
    directory += separator;
  }
  return directory;
}

std::string ToDos(std::string path) {
  szPath2Dos(path.data());
  return path;
}

std::string ToUnix(std::string path) {
  szPath2Unix(path.data());
  return path;
}
