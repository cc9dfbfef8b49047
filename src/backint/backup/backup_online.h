// A job of type FILE_ONLINE: the database is told of the items before the mover works on them and afterwards.
#pragma once

#include "backint/base/run_records.h"
#include "backint/caller/item_sources.h"
#include "backint/caller/switch_files.h"

// One exchange with BRBACKUP through the switch files: names it the items and waits for its answer, which
// goes to the output. A failure, with its messages traced, unless the answer came and tells no error. `asked`
// is set once BRBACKUP sees the question, also if memory runs out over its answer.
RunResult HandleSwitchFiles(const JobItems& items, SwitchTag tag, bool& asked);

// Saves the items of an open job between two such exchanges, and writes the job's result lines: for a
// directory one line, else one for each item. The job stands or falls as a whole: after any failure every
// item gets "#ERROR". If memory runs out, a database that was told of the beginning is told of the end all
// the same.
RunResult BackupOnline(const JobItems& items);
