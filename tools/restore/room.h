// Whether there is room for what is to be restored.
#pragma once

#include <cstdint>
#include <string>

#include "store/status.h"

// Good if `bytes` more bytes fit on the file system of the directory. Otherwise kNoRoom with a message, and
// `missing` gets how many bytes do not fit.
store::Status CheckRoom(const std::string& directory, std::uint64_t bytes, std::uint64_t& missing);
