// The result lines: all that the caller learns about its items. Each call opens the output, writes one line
// and closes it again, so a line stands in the file the moment its item is decided.
#pragma once

#include <string>

#include "backint/base/run_records.h"

// Status of an item as it comes back from a run of the data mover.
enum class ItemStatus {
  kDone = 0,
  kDoneWithWarnings = 1,
  kFailed = 2,   // asked for and not confirmed
  kNotHeld = 3,  // not confirmed although the restore ended clean: the saveset does not hold it
};

enum class InquireStatus { kBackup = 0, kError = 1, kNotFound = 2 };

// All three give a failure if the line could not be written in full; the torn piece of a line is cut off
// again. The callers tell it: with `kOutputFailed` (backup, inquire).
RunResult WriteBackupResult(const std::string& item, ItemStatus status);
RunResult WriteRestoreResult(const std::string& file, ItemStatus status);
RunResult WriteInquireResult(const std::string& backupId, const std::string& file, InquireStatus status);

inline constexpr const char* kOutputFailed = "ERROR: Opening ouptut file failes.";
