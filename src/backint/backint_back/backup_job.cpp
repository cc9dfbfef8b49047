#include "backint/backint_back/backup_job.h"

#include "backint/backint_back/backup_online.h"
#include "backint/backint_back/execute_xfr.h"
#include "backint/backint_func/com_interface.h"
#include "backint/backint_func/result_line.h"
#include "backint/backint_func/trace.h"
#include "backint/backint_util/item_entries.h"
#include "backint/backint_util/item_sources.h"

namespace {

constexpr const char* kTraceSource = "backint_back";

RunResult WriteLine(const std::string& item, ItemStatus status) {
  const RunResult result = WriteBackupResult(item, status);
  if (result == RunResult::kFailure) {
    TRACE(1, "%s", kOutputFailed);
  }
  return result;
}

// A job that the server did not open: none of its items is saved.
RunResult ReportUnopenedJob(const ItemList& items) {
  TRACE(1, "ERROR: xfr_com_interface backup call [OPEN_JOB] returned error.");
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

RunResult RunOnline(const ItemList& items) {
  TRACE(3, "INFO: Backuping file online....");
  return BackupOnline(items, "");
}

RunResult RunPlain(const ItemList& items) {
  ItemEntries entries;
  RunResult result = ExecuteXFR(items, entries);
  FoldResult(result, ReportItems(entries));
  return result;
}

}  // namespace

RunResult BackupJob(const ItemList& items) {
  if (RunComInterface(ComOperation::kOpenJob) == RunResult::kFailure) {
    return ReportUnopenedJob(items);
  }
  RunResult result = Params().szType == "FILE_ONLINE" ? RunOnline(items) : RunPlain(items);
  Params().nJobState = StateOf(result);
  FoldResult(result, RunComInterface(ComOperation::kCloseJob));
  Session().szSavesetShort.clear();
  Session().szSavesetName.clear();
  return result;
}
