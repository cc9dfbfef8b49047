// A file that others are meant to read.
#pragma once

#include <string>

namespace platform {

// Lets every user of the machine read the file, and nobody but its owner write to it, whatever this process
// gives new files. On Windows its directory says who may.
[[nodiscard]] bool LetOthersRead(const std::string& path, std::string& why);

}  // namespace platform
