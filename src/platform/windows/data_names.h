// What the files for binary data share on Windows.
#pragma once

#include <string>

namespace platform::internal {

// The system's words for its error number.
std::string ErrorText(unsigned long error);

// Whether a file under this name would be another one, or none: the system drops a blank or a point at a
// name's end without a word, takes some names for devices, and cannot hold some characters. `why` says which.
bool IsUnusableName(const std::string& path, std::string& why);

}  // namespace platform::internal
