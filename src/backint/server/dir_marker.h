// The marker file that carries a subdirectory into a saveset of a directory's first level, and the listing of
// that level.
#pragma once

#include <string>

#include "backint/base/item_list.h"
#include "backint/base/run_records.h"

// The names in a directory, of files and directories alike, sorted. Empty if the directory cannot be read to
// its end: part of a directory is not taken for all of it.
[[nodiscard]] ItemList ListFirstLevel(const std::string& directory);

// The path of a directory's marker file.
[[nodiscard]] std::string DirMarkerPath(const std::string& directory);

// Writes a marker file unless it is there. A failure, which is traced, if it is not in the file to its last
// byte.
RunResult CreateDirMarker(const std::string& path);

// Deletes a marker file and traces that. Whether it works is not looked at.
void DeleteDirMarker(const std::string& path);
