// The list file, which carries the names of a job that a command line cannot hold.
#pragma once

#include <string>

#include "backint/base/item_list.h"
#include "backint/base/run_records.h"

// Sets szFileListFile unless it is set, and claims that name until DeleteFileList.
void SetFileListPath();

// Writes one name per line with forward slashes, the lines of the input file in a log run, and traces it. A
// failure if it is not in the file to its last byte; there is no file then.
RunResult WriteFileList(const ItemList& items);

// Deletes the list if one is in use, traces that as the module `source`, and empties szFileListFile.
void DeleteFileList(const char* source);

// Whether a finished short command has to give way to one with a list file.
[[nodiscard]] bool TakesFileList(const std::string& command, const ItemList& items);

// A path of the program's own behind "-f", with what stands in front of it: in double quotes if it holds a
// blank.
[[nodiscard]] std::string FileArgument(const std::string& prefix, const std::string& path);
