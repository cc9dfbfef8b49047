// What kind of thing an item of the input is. This depends on its name alone, in upper or lower case; only
// backslashes separate. No item is opened.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "backint/base/item_list.h"
#include "backint/base/own_list.h"
#include "backint/base/run_records.h"

// Traces every line of the input.
void TraceInputList(const ItemList& lines);

// Warns that words of a line are ignored: in the trace, as the module `source`, and on standard error.
void TellExtraWords(const std::string& line, const char* source);

// Whether every item is a log file of the calling tools; true for an empty list. If so, the items are traced.
[[nodiscard]] bool IsLogFileList(const ItemList& items);

// A file whose last component contains "LOG" and "_".
[[nodiscard]] bool IsOnlineRedoLog(const std::string& item);
// A file whose last component contains "CTL", "CTRL" or "CNTRL".
[[nodiscard]] bool IsControlFile(const std::string& item);

// Whether the name cannot be saved: a name of this system with a backslash could not be told from the name of
// another file.
[[nodiscard]] bool IsUnsavableName(const std::string& item);

// Redo logs and control files, and the temporary list newinput.txt with their names.
struct SpecialItems {
  ItemList names;
  std::unique_ptr<OwnList> list;  // null if there are none
};

// Copies the redo logs and control files to `special`, except those that do not exist. Without any, no file
// is created. A failure, which is traced, if the list cannot be written completely.
RunResult SplitRedoAndControlFiles(const ItemList& items, SpecialItems& special);

// The size of a file that was looked up, in Mb (1,048,576 bytes), rounded; half a Mb is rounded down. -1,
// which is traced, if the file was not found.
[[nodiscard]] std::int32_t GetFileSizeMb(const platform::PathInfo& info);
