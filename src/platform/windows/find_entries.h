// The entries of a directory.
#pragma once

#include <windows.h>

#include <functional>
#include <string>

namespace platform::internal {

// Calls `take` with each entry except "." and "..", under its name in the code page. False if the directory
// cannot be read, or if the name of an entry is not in the code page: under no other name could the entry be
// told from the others. `why` gets the reason, `unusableName` such a name with `?` in it.
bool FindEntries(const std::string& directory,
                 const std::function<void(const std::string& name, const WIN32_FIND_DATAW& entry)>& take,
                 std::string& why, std::string& unusableName);

}  // namespace platform::internal
