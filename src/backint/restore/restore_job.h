// One restore job: the files that come from one backup and go to one place.
#pragma once

#include <string>

#include "backint/base/item_list.h"
#include "backint/base/run_records.h"

// Opens a job on the server for `backupId`, lets the mover restore the files, closes the job and writes a
// result line for each file. `destination` is a directory; empty: each file goes to its own place.
RunResult RestoreJob(const std::string& backupId, const ItemList& files, const std::string& destination);
