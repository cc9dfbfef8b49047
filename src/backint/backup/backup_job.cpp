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

// A job that is not open on the server: none of its items is saved.
RunResult ReportUnopenedJob(const ItemList& items) {
  ItemList failed = items;
  if (Params().bLogsRun) {
    failed = {};
    ReadInputItems(failed);
  }
  for (const std::string& item : failed) {
    static_cast<void>(WriteLine(item, ItemStatus::kFailed));
  }
  return RunResult::kFailure;
}

RunResult ReportItems(const ItemEntries& entries) {
  RunResult result = RunResult::kSuccess;
  for (const ItemEntry& entry : entries) {
    FoldResult(result, WriteLine(entry.name, entry.status));
  }
  return result;
}

// Has the mover save the items and reports them: each by itself, or, if `szDirName` is not empty, as that one
// directory.
RunResult SaveItems(const ItemList& items, const std::string& szDirName) {
  if (Params().szType == "FILE_ONLINE") {
    TRACE(3, "INFO: Backuping file online....");
    return BackupOnline(items, szDirName);
  }
  ItemEntries entries;
  RunResult result = ExecuteXFR(items, entries);
  if (szDirName.empty()) {
    FoldResult(result, ReportItems(entries));
  } else {
    FoldResult(result, WriteBackupResult(szDirName, static_cast<ItemStatus>(NumberOf(result))));
  }
  return result;
}

RunResult SaveFirstLevel(const std::string& szDirName, FirstLevel& firstLevel) {
  const ItemList entries = firstLevel.Expand(szDirName);
  if (entries.Empty()) {
    static_cast<void>(WriteBackupResult(szDirName, ItemStatus::kFailed));
    return RunResult::kFailure;
  }
  return SaveItems(entries, szDirName);
}

RunResult SaveJob(const ItemList& items, FirstLevel& firstLevel) {
  if (!Params().bDirItem) {
    return SaveItems(items, "");
  }
  const std::string& szDirName = *items.Get(1);
  return Params().bDirectoryXfrUse ? SaveItems(items, szDirName) : SaveFirstLevel(szDirName, firstLevel);
}

}  // namespace

RunResult BackupJob(const ItemList& items) {
  if (RunIsInterrupted()) {
    return ReportUnopenedJob(items);
  }
  if (RunComInterface(ComOperation::kOpenJob) == RunResult::kFailure) {
    TRACE(1, "ERROR: xfr_com_interface backup call [OPEN_JOB] returned error.");
    return ReportUnopenedJob(items);
  }
  FirstLevel firstLevel;
  RunResult result = SaveJob(items, firstLevel);
  Params().nJobState = StateOf(result);
  firstLevel.DeleteMarkers();
  FoldResult(result, RunComInterface(ComOperation::kCloseJob));
  Session().szSavesetShort.clear();
  Session().szSavesetName.clear();
  return result;
}
