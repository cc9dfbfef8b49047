#include "platform/failures.h"

#include <cerrno>
#include <system_error>

namespace platform {

bool MeansNoRoom(const std::string& why) {
  const std::error_category& system = std::generic_category();
  return why == system.message(ENOSPC) || why == system.message(EDQUOT) || why == system.message(EFBIG);
}

std::string ErrorName(int error) { return std::generic_category().message(error); }

bool MeansMissing(long error) { return error == ENOENT || error == ENOTDIR || error == ENAMETOOLONG; }

}  // namespace platform
