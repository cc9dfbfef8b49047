#include "platform/readable.h"

#include <sys/stat.h>

#include <cerrno>
#include <system_error>

#include "platform/internal.h"

namespace platform {

bool LetOthersRead(const std::string& path, std::string& why) {
  constexpr mode_t kForReading = S_IRUSR | S_IWUSR | S_IRGRP | S_IROTH;
  if (chmod(internal::SystemPath(path).c_str(), kForReading) == 0) {
    return true;
  }
  why = std::generic_category().message(errno);
  return false;
}

}  // namespace platform
