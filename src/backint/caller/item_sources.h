// Where the items of a run of the data mover come from.
#pragma once

#include "backint/base/item_list.h"

// Appends the items of the file that szInFile names, and traces the reading. False, which is traced as well,
// if the file cannot be opened; the list then stays as it was.
bool ReadInputItems(ItemList& items);

// The items of one run of the mover, held as long as it works.
struct RunItems {
  ItemList names;
  bool fromInputFile = false;  // a log run: they are the lines of szInFile
  bool readable = true;        // false if that file could not be opened
};

// The items of a log run are read, without a word, from the input file; those of any other run are `names`.
[[nodiscard]] RunItems HoldRunItems(const ItemList& names);

// Traces what a reading of the input file would say that found the held items again.
void TraceReading(const RunItems& items);

// A name that a command line cannot carry as one word, so that it travels in a list file.
[[nodiscard]] bool NeedsListFile(const std::string& name);
