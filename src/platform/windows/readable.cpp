#include "platform/readable.h"

namespace platform {

bool LetOthersRead(const std::string& /*path*/, std::string& /*why*/) { return true; }

}  // namespace platform
