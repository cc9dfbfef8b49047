// A job of type FILE_ONLINE: the database is told of the items before the mover works on them and afterwards.
#pragma once

#include "backint/base/run_records.h"
#include "backint/caller/item_sources.h"
#include "backint/caller/switch_files.h"

// One exchange with BRBACKUP through the switch files: tells it the items and waits for its answer, which is
// copied to the output. A failure, which is traced, unless the answer came and reports no error. `asked` is
// set as soon as BRBACKUP can see the question, even if memory runs out while its answer is read.
RunResult HandleSwitchFiles(const JobItems& items, SwitchTag tag, bool& asked);

// Saves the items of an open job between two such exchanges, and writes the job's result lines: one line for
// a directory, otherwise one for each item. The job succeeds or fails as a whole: after any failure every
// item gets "#ERROR". If memory runs out, a database that was told the beginning is told the end all the
// same.
RunResult BackupOnline(const JobItems& items);
