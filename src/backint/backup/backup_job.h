// One backup job: the server-side unit of one run of the mover, from its opening to its close.
#pragma once

#include "backint/base/run_records.h"
#include "backint/caller/item_sources.h"

// Saves the items and writes their result lines. Of a directory what lies directly in it is saved, or all of
// it by a mover that walks directories itself.
RunResult BackupJob(const JobItems& items);
