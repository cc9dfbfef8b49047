// Settles what became of each file of a restore.
#pragma once

#include "backint/caller/item_entries.h"
#include "backint/server/xfr_run.h"

// Returns every item that the mover confirmed, in its order. After them come the files that no confirmed item
// names: as not held by the saveset if the mover ended without warnings and failures, otherwise as failed. A
// confirmed item names a file if it ends with the file's name, in upper or lower case. (An item that was
// matched has the file's own form; any other is the path that the mover printed, which can be longer.) A name
// of this system is named only by exactly the same item, and such an item names no other file.
[[nodiscard]] ItemEntries SettleFiles(const ItemList& files, const XfrRun& run, ComparisonTrace& trace);
