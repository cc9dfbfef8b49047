// The backup function.
#pragma once

#include "backint/base/run_records.h"

// Saves what the input file names: opens one session, sorts the items into jobs, runs the jobs and closes the
// session. The result is the program's exit status.
RunResult Backup();
