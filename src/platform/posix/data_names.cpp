#include <unistd.h>

#include <algorithm>
#include <climits>

#include "platform/data_file.h"
#include "platform/internal.h"

namespace platform {

std::string DirectoryOf(const std::string& path) {
  const std::size_t separator = path.find_last_of("/\\");
  if (separator == std::string::npos) {
    return ".";
  }
  return separator == 0 ? path.substr(0, 1) : path.substr(0, separator);
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

std::string UserStateVariables() { return "HOME or XDG_STATE_HOME"; }

std::string SystemConfigDirectory() { return "/etc"; }

std::string ProgramDirectory() {
  char text[PATH_MAX];
  const ssize_t length = readlink("/proc/self/exe", text, sizeof text);
  return length <= 0 ? "." : DirectoryOf(std::string(text, static_cast<std::size_t>(length)));
}

}  // namespace platform
