// The items of a job, and the reading of the file that may contain them.
#pragma once

#include <string>

#include "backint/base/item_list.h"

// What one job of a backup saves.
struct JobItems {
  ItemList names;         // the items
  std::string listFile;   // the mover reads the items from this file; empty: it gets the names
  std::string directory;  // reported instead of the items; empty: each item is reported
};

// The items that a job's list file contains at one moment, or the job's own items if it has no list file.
// Empty if the file cannot be opened. If reading fails later, these are the job's own items, so that each of
// them gets its line.
struct ItemReading {
  enum class End { kWhole, kNotOpened, kFailed };
  ItemList names;
  std::string listFile;  // empty: nothing was read
  End end = End::kWhole;
};

// Reads the items. Traces nothing.
[[nodiscard]] ItemReading ReadItems(const JobItems& items);

// Traces the reading of the list file; nothing if there is none.
void TraceReading(const ItemReading& reading);

// Reads the items and traces that.
[[nodiscard]] ItemReading ReadItemsAloud(const JobItems& items);

// Whether a command line cannot carry the name as one word, so that it must be in a list file.
[[nodiscard]] bool NeedsListFile(const std::string& name);
