// The parameter file: which backup server, job and pool, where the two tools lie, how much to trace.
#pragma once

#include <string>

#include "backint/base/run_records.h"

// Finds the file that -p names (as it stands, else in the directory Database under ORACLE_HOME), reads it
// into the run records and fills in the tool paths that it leaves open. What is wrong is told on standard
// output, and the result is a failure.
RunResult ReadParameterFile();

// The product's install directory. A failure is told on standard output.
RunResult GetInstallDir(std::string& directory);
