#include "backint/backup/backup_online.h"

#include "backint/backup/execute_xfr.h"
#include "backint/base/trace.h"
#include "backint/caller/item_entries.h"
#include "backint/caller/item_sources.h"
#include "backint/caller/result_line.h"

namespace {

constexpr const char* kTraceSource = "backint_back";

ItemList NamesOf(const ItemEntries& entries) {
  ItemList names;
  for (const ItemEntry& entry : entries) {
    names.Push(entry.name);
  }
  return names;
}

// Writes the job's lines, all with one status; what the writing of the last one gave is the result.
RunResult WriteLines(const ItemList& names, const std::string& szDirName, ItemStatus status) {
  if (Params().bDirItem) {
    return WriteBackupResult(szDirName, status);
  }
  RunResult result = RunResult::kSuccess;
  for (const std::string& name : names) {
    result = WriteBackupResult(name, status);
    if (result == RunResult::kFailure) {
      TRACE(1, "%s", kOutputFailed);
    }
  }
  return result;
}

RunResult Fail(const ItemList& names, const std::string& szDirName) {
  static_cast<void>(WriteLines(names, szDirName, ItemStatus::kFailed));
  return RunResult::kFailure;
}

// The mover was not started: its items are the job's own.
RunResult FailUnsaved(const ItemList& items, const std::string& szDirName) {
  TRACE(1, "ERROR: Handling switch files (#BEGIN) failes.");
  if (!Params().bLogsRun) {
    return Fail(items, szDirName);
  }
  ItemList lines;
  ReadInputItems(lines);
  return Fail(lines, szDirName);
}

}  // namespace

RunResult HandleSwitchFiles(const ItemList& names, SwitchTag tag) {
  if (SwitchFilesExist()) {
    TRACE(1, "ERROR: BRBACKUP already in use.");
    return RunResult::kFailure;
  }
  if (CreateSwitchFiles(names, tag) == RunResult::kFailure) {
    TRACE(1, "ERROR: Creating switch files (begin) failes.");
    return RunResult::kFailure;
  }
  if (WaitForSwitchSemaphore() == RunResult::kFailure) {
    TRACE(1, "ERROR: Waiting for switch semaphore failes.");
    return RunResult::kFailure;
  }
  if (ReadSwitchLog() == RunResult::kFailure) {
    TRACE(1, "ERROR: error found in switch log file.");
    static_cast<void>(DeleteSwitchLog());
    return RunResult::kFailure;
  }
  if (DeleteSwitchLog() == RunResult::kFailure) {
    TRACE(1, "ERROR: Deleting switch log file failes.");
    return RunResult::kFailure;
  }
  return RunResult::kSuccess;
}

RunResult BackupOnline(const ItemList& items, const std::string& szDirName) {
  if (HandleSwitchFiles(items, SwitchTag::kBegin) == RunResult::kFailure) {
    return FailUnsaved(items, szDirName);
  }
  TRACE(3, "Start xfr backup");
  ItemEntries entries;
  const RunResult saved = ExecuteXFR(items, entries);
  const ItemList names = NamesOf(entries);
  if (saved == RunResult::kFailure) {
    TRACE(1, "ERROR: Backuping file failes.");
    // The database has to be told in any case; the job has failed whatever it answers.
    static_cast<void>(HandleSwitchFiles(names, SwitchTag::kEnd));
    return Fail(names, szDirName);
  }
  if (HandleSwitchFiles(Params().bDirItem ? ItemList{szDirName} : names, SwitchTag::kEnd) ==
      RunResult::kFailure) {
    TRACE(1, "ERROR: Handling switch files (#END) failes.");
    return Fail(names, szDirName);
  }
  return WriteLines(names, szDirName, ItemStatus::kDone) == RunResult::kFailure ? RunResult::kFailure : saved;
}
