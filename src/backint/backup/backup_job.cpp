#include "backint/backup/backup_job.h"

#include "backint/backup/backup_online.h"
#include "backint/backup/execute_xfr.h"
#include "backint/backup/first_level.h"
#include "backint/base/interrupt.h"
#include "backint/base/trace.h"
#include "backint/caller/item_entries.h"
#include "backint/caller/item_sources.h"
#include "backint/caller/result_line.h"
#include "backint/server/com_interface.h"

namespace {

constexpr const char* kTraceSource = "backint_back";

RunResult WriteLine(const std::string& item, ItemStatus status) {
  const RunResult result = WriteBackupResult(item, status);
  if (result == RunResult::kFailure) {
    TRACE(1, "%s", kOutputFailed);
  }
  return result;
}

// For a job that is not open on the server: none of its items is saved.
RunResult ReportUnopenedJob(const JobItems& items) {
  const ItemReading requested = ReadItemsAloud(items);
  ResultLines lines;
  for (const std::string& item : requested.names) {
    static_cast<void>(WriteLine(item, ItemStatus::kFailed));
  }
  static_cast<void>(lines.Close());
  return RunResult::kFailure;
}

RunResult ReportItems(const ItemEntries& entries) {
  RunResult result = RunResult::kSuccess;
  ResultLines lines;
  for (const ItemEntry& entry : entries) {
    FoldResult(result, WriteLine(entry.name, entry.status));
  }
  FoldResult(result, lines.Close());
  return result;
}

RunResult SaveItems(const JobItems& items) {
  if (Params().szType == "FILE_ONLINE") {
    TRACE(3, "INFO: Backuping file online....");
    return BackupOnline(items);
  }
  const SavedItems saved = ExecuteXFR(items);
  RunResult result = saved.result;
  if (items.directory.empty()) {
    FoldResult(result, ReportItems(saved.entries));
  } else {
    FoldResult(result, WriteBackupResult(items.directory, static_cast<ItemStatus>(NumberOf(result))));
  }
  return result;
}

RunResult SaveFirstLevel(const std::string& directory, FirstLevel& firstLevel) {
  const ItemList entries = firstLevel.Expand(directory);
  if (entries.Empty()) {
    static_cast<void>(WriteBackupResult(directory, ItemStatus::kFailed));
    return RunResult::kFailure;
  }
  return SaveItems({entries, "", directory});
}

}  // namespace

RunResult BackupJob(const JobItems& items) {
  if (RunIsInterrupted()) {
    return ReportUnopenedJob(items);
  }
  if (OpenJob() == RunResult::kFailure) {
    TRACE(1, "ERROR: xfr_com_interface backup call [OPEN_JOB] returned error.");
    return ReportUnopenedJob(items);
  }
  FirstLevel firstLevel;
  const bool firstLevelOnly = !items.directory.empty() && !Params().bDirectoryXfrUse;
  RunResult result = firstLevelOnly ? SaveFirstLevel(items.directory, firstLevel) : SaveItems(items);
  firstLevel.DeleteMarkers();
  FoldResult(result, CloseJob(result));
  Server().szSavesetShort.clear();
  Server().szSavesetName.clear();
  return result;
}
