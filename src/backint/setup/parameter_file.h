// The parameter file: the backup server, the job and the pool, the paths of the two tools, how much to trace.
#pragma once

#include "backint/base/run_records.h"

// Finds the file that -p names (under this name, otherwise in the directory Database under ORACLE_HOME),
// reads it into the run records, and adds the tool paths that are missing in it. An error is written to
// standard output, and the result is a failure.
RunResult ReadParameterFile();
