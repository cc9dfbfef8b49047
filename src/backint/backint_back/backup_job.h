// One backup job: the server-side unit of one run of the mover, from its opening to its close.
#pragma once

#include "backint/backint_list/item_list.h"
#include "backint/run_records.h"

// Saves the items, or the lines of the input file in a log run, and writes one result line for each.
RunResult BackupJob(const ItemList& items);
