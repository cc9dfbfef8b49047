// The items of a job, and the reading of the file that they may stand in.
#pragma once

#include <string>

#include "backint/base/item_list.h"

// What one job of a backup saves.
struct JobItems {
  ItemList names;  // the items
  std::string
      listFile;  // the file that holds them, which the mover reads itself; empty: it is given the names
  std::string directory;  // the directory that is reported in their place; empty: each is reported by itself
};

// A job's items as its list file has them at one moment, or, in a job without one, as the job has them. A
// file that cannot be opened has none. If reading fails on the way they are the job's own: each item keeps
// its line.
struct ItemReading {
  enum class End { kWhole, kNotOpened, kFailed };
  ItemList names;
  std::string listFile;  // empty: nothing was read
  End end = End::kWhole;
};

// Reads without a word.
[[nodiscard]] ItemReading ReadItems(const JobItems& items);

// Traces what a reading of the list file says, nothing without one.
void TraceReading(const ItemReading& reading);

// Reads and traces that.
[[nodiscard]] ItemReading ReadItemsAloud(const JobItems& items);

// A name that a command line cannot carry as one word, so that it travels in a list file.
[[nodiscard]] bool NeedsListFile(const std::string& name);
