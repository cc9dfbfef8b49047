// The marker file that stands for a subdirectory in a saveset of a directory's first level, and the listing
// of that level.
#pragma once

#include <string>

#include "backint/base/item_list.h"
#include "backint/base/run_records.h"

// The names of the files and directories in a directory, sorted. Empty, with a message in the trace, if the
// directory cannot be read completely: a part of it must not be taken for the whole.
[[nodiscard]] ItemList ListFirstLevel(const std::string& directory);

// The path of a directory's marker file.
[[nodiscard]] std::string DirMarkerPath(const std::string& directory);

// Creates a marker file unless it exists. A failure, which is traced, if it cannot be written completely; it
// is then removed.
RunResult CreateDirMarker(const std::string& path);

// Deletes a marker file and traces that. Does not check whether it was deleted.
void DeleteDirMarker(const std::string& path);
