#include "platform/platform.h"

namespace platform {

bool ListDirectory(const std::string& path, std::vector<std::string>& names, std::string* why,
                   std::string* unusableName) {
  names.clear();
  return ListDirectory(
      path, [&names](std::string_view name) { names.emplace_back(name); }, why, unusableName);
}

}  // namespace platform
