// The inquire function, and the query by which a restore finds the last backup of a file.
#pragma once

#include "backint/base/run_records.h"

// Answers every line of the input file by one query of the control tool. The result is the program's exit
// status.
RunResult Inquire();

// What becomes of the answer to a query.
enum class QueryUse {
  kReport,    // it is written as result lines
  kFindLast,  // the first backup that it names goes to szBackupId; nothing is written
};

// Asks the question that szBackupId ("#NULL" for none) and szItem (empty for none) make up.
RunResult QueryBackups(QueryUse use);

// Reports a file whose line names a backup id that is longer than any.
void ReportLongBackupId(const std::string& backupId);
