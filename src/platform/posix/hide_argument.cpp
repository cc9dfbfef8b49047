#include <cstring>

#include "platform/platform.h"

namespace platform {

void HideArgument(char* text) { std::memset(text, '*', std::strlen(text)); }

}  // namespace platform
