// The entries of a directory.
#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace platform::internal {

// Calls `take` with the name, in the code page, of each entry except "." and "..". False if the directory
// cannot be read, or if the name of an entry is not in the code page: under no other name could the entry be
// told from the others. `why` gets the reason, `unusableName` such a name with `?` in it.
bool FindEntries(const std::string& directory, const std::function<void(std::string_view name)>& take,
                 std::string& why, std::string& unusableName);

}  // namespace platform::internal
