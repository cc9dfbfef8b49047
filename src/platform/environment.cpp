#include <cstdlib>

#include "platform/data_file.h"

namespace platform {

bool EnvironmentVariable(const std::string& name, std::string& value) {
  const char* found = std::getenv(name.c_str());
  if (found == nullptr || *found == '\0') {
    return false;
  }
  value = found;
  return true;
}

bool IsEnvironmentVariableSet(const std::string& name) { return std::getenv(name.c_str()) != nullptr; }

}  // namespace platform
