// The entries of a directory.
#pragma once

#include <windows.h>

#include <functional>
#include <string>

namespace platform::internal {

// Calls `take` with each entry but "." and "..", by its name in the code page. False, with the reason, if the
// directory cannot be read, or if an entry has a name that the code page lacks: by no other name could it be
// told from the rest.
bool FindEntries(const std::string& directory,
                 const std::function<void(const std::string& name, const WIN32_FIND_DATAW& entry)>& take,
                 std::string& why, std::string& unusableName);

}  // namespace platform::internal
