// What the reason of a failure means, for those who act on it.
#pragma once

#include <string>

namespace platform {

// The system's words for one of its error numbers.
[[nodiscard]] std::string ErrorName(int error);
// Whether this reason, which an operation of data_file.h gave, means that there is no room: the disk is full,
// a quota is used up, or (on Linux) the file may not become longer.
[[nodiscard]] bool MeansNoRoom(const std::string& why);
// Whether the error of a `PathInfo` says that nothing has the name, or nothing can have it. Any other error
// says only that the system cannot tell.
[[nodiscard]] bool MeansMissing(long error);

}  // namespace platform
