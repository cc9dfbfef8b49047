// Access rights for a new file, or for a new directory and all that is created in it: only the owner, the
// system and the administrators have any. `inheritable`: child processes inherit the handle of the file.
#pragma once

#include <windows.h>

namespace platform::internal {

SECURITY_ATTRIBUTES OwnerAlone(bool inheritable);
SECURITY_ATTRIBUTES OwnerAloneDirectory();

}  // namespace platform::internal
