// Numbers that nobody can foresee.
#pragma once

#include <cstddef>

namespace platform {

// Fills the bytes from the system's generator. A system without one ends the process: nothing that is to be
// unique or secret can be made there.
void RandomBytes(void* bytes, std::size_t size);

}  // namespace platform
