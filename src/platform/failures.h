// What a failed operation means, where somebody has to act on that.
#pragma once

#include <string>

namespace platform {

// The system's words for one of its error numbers.
[[nodiscard]] std::string ErrorName(int error);
// Whether that is the reason, as an operation of data_file.h gave it, which the system has for a full disk or
// a quota that is used up.
[[nodiscard]] bool MeansNoRoom(const std::string& why);
// Whether the error of a `PathInfo` says that nothing has the name, or can have it, and not that nobody can
// tell.
[[nodiscard]] bool MeansMissing(long error);

}  // namespace platform
