// The questions that the control tool answers about backups.
#pragma once

#include <optional>
#include <string>

#include "backint/base/run_records.h"

// Stands in an input line and in a question for "no backup is named".
inline constexpr const char* kNoBackupId = "#NULL";

struct Question {
  std::string backupId;  // or kNoBackupId
  std::string file;      // empty: none is named
};

// Asks the question and writes the answers as result lines.
RunResult QueryBackups(const Question& question);

// Asks for the last backup of a file: its id, or none. Nothing is written.
[[nodiscard]] std::optional<std::string> QueryLastBackup(const std::string& file);

// Tells of a line that names a backup id that is longer than any.
void TellLongBackupId(const std::string& backupId);
