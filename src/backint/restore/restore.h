// The restore function.
#pragma once

#include "backint/base/run_records.h"

// Restores what the input file names: opens one session, finds the last backup where a line names none,
// groups the lines by backup and destination, runs one job for each group and closes the session. The result
// is the program's exit status.
RunResult Restore();
