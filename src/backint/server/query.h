// Asks the control tool about backups.
#pragma once

#include <optional>
#include <string>

#include "backint/base/run_records.h"

// In an input line and in a question it means that no backup is named.
inline constexpr const char* kNoBackupId = "#NULL";

struct Question {
  std::string backupId;  // or kNoBackupId
  std::string file;      // empty: none is named
};

// Asks the question and writes the answers as result lines.
RunResult QueryBackups(const Question& question);

// Asks for the last backup of a file. Gives its id, or nothing; writes no result line.
[[nodiscard]] std::optional<std::string> QueryLastBackup(const std::string& file);

// Traces that the backup id of a line is too long.
void TellLongBackupId(const std::string& backupId);
