// Files that other programs may read at any time.
#pragma once

#include <string>
#include <string_view>

#include "store/status.h"

namespace korvo {

// Writes the text to a new file beside `path` and renames it: a reader finds all of the old text or all of
// the new one. If `path` is a link, this is done where it leads. Every user may read the file. After a
// failure the old file is still there. Fails if it is no regular file.
store::Status WriteWholeFile(const std::string& path, std::string_view text);

}  // namespace korvo
