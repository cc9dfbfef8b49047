// The one place where a backup reaches the data mover.
#pragma once

#include "backint/base/run_records.h"
#include "backint/caller/item_entries.h"
#include "backint/caller/item_sources.h"

struct SavedItems {
  RunResult result;     // the mover's, or a failure if any item was not confirmed
  ItemEntries entries;  // the confirmed items in the order in which the mover told them, one that it told
                        // twice twice; behind them, as failed, the others in the order of the request
};

// Has the mover save the items of an open job.
[[nodiscard]] SavedItems ExecuteXFR(const JobItems& items);
