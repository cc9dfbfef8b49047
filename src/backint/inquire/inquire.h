// The inquire function.
#pragma once

#include "backint/base/run_records.h"

// Answers each line of the input file with one query of the control tool. The result is the program's exit
// status.
RunResult Inquire();
