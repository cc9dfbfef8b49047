// What kinds of things the input names. Names are judged in capitals, whatever their case, and by backslashes
// alone; no file is opened.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "backint/base/item_list.h"
#include "backint/base/own_list.h"
#include "backint/base/run_records.h"

// Traces every line of the input.
void TraceInputList(const ItemList& lines);

// Warns, as the module `source` and on standard error, of words in a line that nobody reads.
void TellExtraWords(const std::string& line, const char* source);

// Whether every item is a log file of the calling tools, which is also true of no item at all. The items of
// such a list are traced.
[[nodiscard]] bool IsLogFileList(const ItemList& items);

// A file whose last component contains "LOG" and "_".
[[nodiscard]] bool IsOnlineRedoLog(const std::string& item);
// A file whose last component contains "CTL", "CTRL" or "CNTRL".
[[nodiscard]] bool IsControlFile(const std::string& item);

// A name of this system that holds a backslash could not be told from another file's and is not saved.
[[nodiscard]] bool IsUnsavableName(const std::string& item);

// Redo logs and control files, and the temporary list newinput.txt that holds them.
struct SpecialItems {
  ItemList names;
  std::unique_ptr<OwnList> list;  // null without any
};

// Copies the redo logs and control files that exist; without any no file is made. A failure, which is traced,
// if the list cannot be written to its last byte.
RunResult SplitRedoAndControlFiles(const ItemList& items, SpecialItems& special);

// The size in Mb of a file that was looked up, rounded, half a Mb down; -1, which is traced, if it was not
// found.
[[nodiscard]] std::int32_t GetFileSizeMb(const platform::PathInfo& info);
