// The one place where a backup reaches the data mover.
#pragma once

#include "backint/base/item_list.h"
#include "backint/base/run_records.h"
#include "backint/caller/item_entries.h"

// Has the mover save the items of an open job: `items`, or the lines of the input file in a log run.
// `entries` gets the confirmed items in the order in which the mover told them, one that it told twice stands
// twice; behind them the requested items that it did not confirm, as failed, in the order of the request. The
// result is the mover's, or a failure if any item was not confirmed.
RunResult ExecuteXFR(const ItemList& items, ItemEntries& entries);
