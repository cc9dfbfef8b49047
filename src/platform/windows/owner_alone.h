// The rights of a new file, or of a new directory and all that is made in it, that only its owner, the system
// and its administrators may read.
#pragma once

#include <windows.h>

namespace platform::internal {

SECURITY_ATTRIBUTES OwnerAlone(bool inheritable);
SECURITY_ATTRIBUTES OwnerAloneDirectory();

}  // namespace platform::internal
