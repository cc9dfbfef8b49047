#include <windows.h>

#include "platform/internal.h"

namespace platform::internal {
namespace {

bool IsFullDirectory(const std::string& directory) {
  const bool drive = directory.size() > 2 && directory[1] == ':' && HoldsSeparator(directory.substr(2, 1));
  const bool share = directory.size() > 2 && directory.compare(0, 2, "\\\\") == 0;
  return drive || share;
}

bool HasExtension(const std::string& path) {
  const std::size_t name = path.find_last_of("\\/:");
  return path.find('.', name == std::string::npos ? 0 : name) != std::string::npos;
}

std::string SearchList() {
  std::string list(GetEnvironmentVariableA("PATH", nullptr, 0), '\0');
  list.resize(GetEnvironmentVariableA("PATH", list.data(), static_cast<DWORD>(list.size())));
  std::erase(list, '"');
  return list;
}

}  // namespace

bool HoldsSeparator(std::string_view name) { return name.find_first_of("/\\:") != std::string_view::npos; }

std::string RunnableFile(const std::string& path) {
  if (path.empty()) {
    return {};
  }
  if (!HasExtension(path) && LookUp(path + ".exe").kind == PathKind::kFile) {
    return path + ".exe";
  }
  return LookUp(path).kind == PathKind::kFile ? path : std::string();
}

std::string FindProgram(const std::string& name) {
  if (HoldsSeparator(name)) {
    return RunnableFile(name);
  }
  const std::string list = SearchList();
  std::string_view rest = name.empty() ? std::string_view() : list;
  while (!rest.empty()) {
    const std::size_t end = rest.find(';');
    const std::string directory(rest.substr(0, end));
    rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
    // An empty or relative entry would mean the current directory.
    if (!IsFullDirectory(directory)) {
      continue;
    }
    if (std::string file = RunnableFile(SystemPath(directory) + "\\" + name); !file.empty()) {
      return file;
    }
  }
  return {};
}

}  // namespace platform::internal
