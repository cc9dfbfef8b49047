// One backup job: the server opens it for one run of the mover and closes it afterwards.
#pragma once

#include "backint/base/run_records.h"
#include "backint/caller/item_sources.h"

// Saves the items and writes their result lines. Of a directory only the first level is saved, or all of it
// if the mover walks directories itself.
RunResult BackupJob(const JobItems& items);
