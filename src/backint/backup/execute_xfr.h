// The one place where a backup reaches the data mover.
#pragma once

#include "backint/base/run_records.h"
#include "backint/caller/item_entries.h"
#include "backint/caller/item_sources.h"

struct SavedItems {
  RunResult result;     // the mover's, or a failure if an item was not confirmed or a list could not be read
  ItemEntries entries;  // the confirmed items in the order of the mover's lines (twice if there are two
                        // lines); after them the other items in the order of the request, as failed
};

// Lets the mover save the items of an open job.
[[nodiscard]] SavedItems ExecuteXFR(const JobItems& items);
