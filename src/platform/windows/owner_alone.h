// The rights of a new file that only its owner, the system and its administrators may read.
#pragma once

#include <windows.h>

namespace platform::internal {

SECURITY_ATTRIBUTES OwnerAlone(bool inheritable);

}  // namespace platform::internal
