// One backup job: the server-side unit of one run of the mover, from its opening to its close.
#pragma once

#include "backint/base/item_list.h"
#include "backint/base/run_records.h"

// Saves the items, or the lines of the input file in a log run, and writes one result line for each. With
// bDirItem set the one item is a directory: what lies directly in it is saved, or all of it by a mover that
// walks directories itself.
RunResult BackupJob(const ItemList& items);
