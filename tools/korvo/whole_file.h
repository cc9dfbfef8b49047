// Files for others, who may read them at any time.
#pragma once

#include <string>
#include <string_view>

#include "store/status.h"

namespace korvo {

// Writes the text beside the file and renames it: who reads the file finds all of the old text or all of the
// new one. Everybody may read it. A file that cannot be written stays as it was.
store::Status WriteWholeFile(const std::string& path, std::string_view text);

}  // namespace korvo
