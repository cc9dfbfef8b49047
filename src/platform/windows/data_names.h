// What the files for binary data share on Windows.
#pragma once

#include <string>

namespace platform::internal {

// The system's words for its error number.
std::string ErrorText(unsigned long error);

// Whether a file with this name would be another one, or could not exist: the system silently drops a blank
// or a dot at the end of a name, takes some names for devices, and does not allow some characters. `why` gets
// the reason.
bool IsUnusableName(const std::string& path, std::string& why);

}  // namespace platform::internal
