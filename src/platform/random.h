// Numbers that nobody can predict.
#pragma once

#include <cstddef>

namespace platform {

// Fills the bytes from the system's generator. If the system has none, the process is aborted: nothing unique
// or secret could be made.
void RandomBytes(void* bytes, std::size_t size);

}  // namespace platform
