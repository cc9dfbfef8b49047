#include "platform/platform.h"

namespace platform {

std::string InstalledProgram(const std::string& path) {
  constexpr std::string_view kSuffix = ".exe";
  if (Exists(path) || !path.ends_with(kSuffix)) {
    return path;
  }
  std::string plain = path.substr(0, path.size() - kSuffix.size());
  return Exists(plain) ? plain : path;
}

}  // namespace platform
