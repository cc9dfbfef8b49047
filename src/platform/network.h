// Whether files are shared with other machines.
#pragma once

#include <string>

namespace platform {

// Whether the directory is on a file system that other machines may use at the same time. False where the
// system does not tell.
[[nodiscard]] bool IsOnNetwork(const std::string& directory);

}  // namespace platform
