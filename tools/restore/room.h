// Whether there is room for what is to be restored.
#pragma once

#include <cstdint>
#include <string>

#include "store/status.h"

// kNoRoom, with what is missing, unless `bytes` fit beside all that is there already. `missing` gets how many
// do not.
store::Status CheckRoom(const std::string& directory, std::uint64_t bytes, std::uint64_t& missing);
