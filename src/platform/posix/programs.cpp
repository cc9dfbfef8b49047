#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>

#include "platform/internal.h"

namespace platform::internal {

bool HoldsSeparator(std::string_view name) { return name.find_first_of("/\\") != std::string_view::npos; }

std::string RunnableFile(const std::string& path) {
  const std::string file = SystemPath(path);
  struct stat status = {};
  const bool runnable =
      stat(file.c_str(), &status) == 0 && S_ISREG(status.st_mode) && access(file.c_str(), X_OK) == 0;
  return runnable ? file : std::string();
}

std::string FindProgram(const std::string& name) {
  if (HoldsSeparator(name)) {
    return RunnableFile(name);
  }
  const char* list = std::getenv("PATH");
  std::string_view rest = list != nullptr && !name.empty() ? list : "";
  while (!rest.empty()) {
    const std::size_t end = rest.find(':');
    std::string file(rest.substr(0, end));
    rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
    // An empty or relative entry would mean the current directory.
    if (file.empty() || file.front() != '/') {
      continue;
    }
    file = RunnableFile(file.append("/").append(name));
    if (!file.empty()) {
      return file;
    }
  }
  return {};
}

}  // namespace platform::internal
