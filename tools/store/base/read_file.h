// Reading a file that is small, or ought to be.
#pragma once

#include <cstddef>
#include <string>

namespace store {

// The file's bytes, at most so many of them: whoever has to know whether there are more asks for one more
// than it takes. False if it cannot be read; `why` says why, in the system's words.
[[nodiscard]] bool ReadFileUpTo(const std::string& path, std::size_t most, std::string& bytes,
                                std::string& why);

}  // namespace store
