// Files that are shared with other machines, and connections to them.
#pragma once

#include <cstdint>
#include <string>

namespace platform {

// Whether the directory is on a file system that other machines may use at the same time. False if the system
// does not tell.
[[nodiscard]] bool IsOnNetwork(const std::string& directory);

// Waits until something can be read from the connection, or it has ended. False if the time is over first, or
// a signal came.
[[nodiscard]] bool WaitForInput(std::uintptr_t socket, int milliseconds);

}  // namespace platform
