// Settles what became of each file of a restore.
#pragma once

#include "backint/caller/item_entries.h"
#include "backint/server/xfr_run.h"

// Every item that the mover confirmed, in its order, and behind them the files that no confirmed item names:
// as not held by the saveset if the mover ended clean, else as failed. A confirmed item names a file if it
// ends in it, whatever the letter case: an item that was matched has the file's own form, any other the path
// that the mover printed, which can be longer. A name of this system is named by exactly itself, and such an
// item names no other file.
[[nodiscard]] ItemEntries SettleFiles(const ItemList& files, const XfrRun& run, ComparisonTrace& trace);
