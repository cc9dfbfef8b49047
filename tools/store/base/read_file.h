// Reading a file that is small, or ought to be.
#pragma once

#include <cstddef>
#include <string>

namespace store {

// Reads the file's bytes, at most `most` of them. To find out whether there are more, ask for one more than
// can be used. False if the file cannot be read; `why` is then the system's reason.
[[nodiscard]] bool ReadFileUpTo(const std::string& path, std::size_t most, std::string& bytes,
                                std::string& why);

}  // namespace store
