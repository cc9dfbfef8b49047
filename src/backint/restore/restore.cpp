#include "backint/restore/restore.h"

#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "backint/base/interrupt.h"
#include "backint/base/item_list.h"
#include "backint/base/text.h"
#include "backint/base/tokens.h"
#include "backint/base/trace.h"
#include "backint/caller/bi_files.h"
#include "backint/caller/input_list.h"
#include "backint/caller/result_line.h"
#include "backint/restore/restore_job.h"
#include "backint/server/com_interface.h"
#include "backint/server/query.h"

namespace {

constexpr const char* kTraceSource = "backint_rest";
constexpr const char* kNoBackup = "#NOTFOUND";

struct RestoreRecord {
  std::string backupId;     // or kNoBackup
  std::string destination;  // empty: the file's own place
  std::string file;
};

// The records of one backup and one destination.
struct RestoreGroup {
  std::string backupId;
  std::string destination;
  ItemList files;
};

// Finds the last backup of a file and traces the result. Returns its id, or nothing.
std::optional<std::string> FindLastBackup(const std::string& file) {
  const TraceBatch::Pause pause;
  TRACE(3, "INFO: backupid = #NULL. Find last backup of file: %s.", file.c_str());
  std::optional<std::string> found = QueryLastBackup(file);
  Params().szBackupId = found.value_or(kNoBackupId);
  if (found && *found != kNoBackupId) {
    TRACE(3, "INFO: BackupID found: %s.", found->c_str());
    return found;
  }
  TRACE(1, "ERROR: last backup of file not found.");
  return std::nullopt;
}

// Backup id, file and perhaps a destination. Nothing, which is traced, if the line does not have two words.
std::optional<RestoreRecord> SplitLine(const std::string& line) {
  std::vector<std::string> tokens = SplitTokens(line);
  for (std::string& token : tokens) {
    TrimBlanks(token);
  }
  const bool extraWords = tokens.size() > 3;
  tokens.resize(3);
  RestoreRecord record{tokens[0], tokens[2], tokens[1]};
  if (record.backupId.empty() || record.file.empty()) {
    TRACE(2, "WARNING: Input file contains unrecognizable line :%s.", line.c_str());
    return std::nullopt;
  }
  TRACE(3, "INFO: Input BackupId Item: %s.", record.backupId.c_str());
  TRACE(3, "INFO: Input File Item: %s.", record.file.c_str());
  if (!record.destination.empty()) {
    TRACE(3, "INFO: Destination directory Item: %s.", record.destination.c_str());
  }
  if (extraWords) {
    TellExtraWords(line, kTraceSource);
  }
  return record;
}

void ReportFailed(const std::string& file, RunResult& result) {
  static_cast<void>(WriteRestoreResult(file, ItemStatus::kFailed));
  FoldResult(result, RunResult::kFailure);
}

// The record of a line; nothing if the line is settled already.
std::optional<RestoreRecord> ReadRecord(const std::string& line, RunResult& result) {
  std::optional<RestoreRecord> record = SplitLine(line);
  if (!record) {
    return std::nullopt;
  }
  const bool interrupted = RunIsInterrupted();
  if (interrupted || record->backupId.size() > kBackupIdWidth) {
    if (!interrupted) {
      TellLongBackupId(record->backupId);
    }
    ReportFailed(record->file, result);
    return std::nullopt;
  }
  if (record->backupId != kNoBackupId) {
    return record;
  }
  const std::optional<std::string> found = FindLastBackup(record->file);
  // A query that was broken off says nothing about backups.
  if (!found && RunIsInterrupted()) {
    ReportFailed(record->file, result);
    return std::nullopt;
  }
  record->backupId = found.value_or(kNoBackup);
  return record;
}

// Groups are in the order of their first record, records in the order of the input. A record that is equal to
// the first one of its group is dropped.
std::vector<RestoreGroup> ReadGroups(const ItemList& lines, RunResult& result) {
  const TraceBatch batch;
  std::vector<RestoreGroup> groups;
  std::map<std::pair<std::string, std::string>, std::size_t> seen;
  for (const std::string& line : lines) {
    const std::optional<RestoreRecord> record = ReadRecord(line, result);
    if (!record) {
      continue;
    }
    const auto [place, isNew] = seen.try_emplace({record->backupId, record->destination}, groups.size());
    if (isNew) {
      groups.push_back({record->backupId, record->destination, {record->file}});
      continue;
    }
    RestoreGroup& group = groups[place->second];
    if (record->file != *group.files.Get(1)) {
      group.files.Push(record->file);
    }
  }
  return groups;
}

void RunGroup(const RestoreGroup& group, RunResult& result) {
  const RunResult jobResult = RestoreJob(group.backupId, group.files, group.destination);
  TRACE(3, "INFO: ....Restore finished with code :%d.\n", NumberOf(jobResult));
  FoldResult(result, jobResult);
}

void ReportNotFound(const RestoreGroup& group, RunResult& result) {
  ResultLines lines;
  for (const std::string& file : group.files) {
    FoldResult(result, RunResult::kFailure);
    static_cast<void>(WriteRestoreResult(file, ItemStatus::kNotHeld));
  }
  static_cast<void>(lines.Close());
}

// The job of a group runs when the next group that has a backup begins. So files without a backup between the
// two are reported before it.
void RunGroups(const std::vector<RestoreGroup>& groups, RunResult& result) {
  const RestoreGroup* collected = nullptr;
  for (const RestoreGroup& group : groups) {
    if (group.backupId == kNoBackup) {
      ReportNotFound(group, result);
      continue;
    }
    if (collected != nullptr) {
      RunGroup(*collected, result);
    }
    collected = &group;
  }
  if (collected != nullptr) {
    RunGroup(*collected, result);
  } else {
    if (!RunIsInterrupted()) {
      TRACE(1, "ERROR: There is no valid input lines in input file.");
    }
    FoldResult(result, RunResult::kFailure);
  }
}

// The lines are freed as soon as they are read: there may be millions.
RunResult RestoreList(ItemList lines) {
  RunResult result = RunResult::kSuccess;
  const std::vector<RestoreGroup> groups = ReadGroups(lines, result);
  lines = {};
  RunGroups(groups, result);
  return result;
}

}  // namespace

RunResult Restore() {
  TRACE(1, "INFO: Restore() ...");
  std::optional<InputFile> input = OpenInputFile(Params().szInFile);
  if (!input) {
    return RunResult::kFailure;
  }
  if (OpenSession() == RunResult::kFailure) {
    TRACE(1, "ERROR: xfr_com_interface restore call [OPEN_SESSION] returned error.");
    return RunIsInterrupted() ? RestoreList(std::move(input->lines)) : RunResult::kFailure;
  }
  TraceInputList(input->lines);
  RunResult result = RestoreList(std::move(input->lines));
  if (RunIsInterrupted()) {
    result = RunResult::kFailure;
  }
  TRACE(1, "INFO: Restore() finished. Return value: %d.", NumberOf(result));
  if (CloseSession(result) == RunResult::kFailure) {
    TRACE(1, "ERROR: xfr_com_interface restore call [CLOSE_SESSION] returned error.");
    return RunResult::kFailure;
  }
  return RunIsInterrupted() ? RunResult::kFailure : result;
}
