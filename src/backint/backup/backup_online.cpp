#include "backint/backup/backup_online.h"

#include <new>

#include "backint/backup/execute_xfr.h"
#include "backint/base/interrupt.h"
#include "backint/base/trace.h"
#include "backint/caller/item_entries.h"
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
RunResult WriteLines(const ItemList& names, const std::string& directory, ItemStatus status) {
  if (!directory.empty()) {
    return WriteBackupResult(directory, status);
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

RunResult Fail(const ItemList& names, const std::string& directory) {
  static_cast<void>(WriteLines(names, directory, ItemStatus::kFailed));
  return RunResult::kFailure;
}

}  // namespace

RunResult HandleSwitchFiles(const JobItems& items, SwitchTag tag) {
  if (SwitchFilesExist()) {
    TRACE(1, "ERROR: BRBACKUP already in use.");
    return RunResult::kFailure;
  }
  if (CreateSwitchFiles(items, tag) == RunResult::kFailure) {
    TRACE(1, "ERROR: Creating switch files (begin) failes.");
    return RunResult::kFailure;
  }
  return TakeSwitchAnswer();
}

RunResult TakeSwitchAnswer() {
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

namespace {

// The rest of a job of which BRBACKUP was told `#BEGIN`. `told` is set once it has been told `#END`, too, and
// has answered.
RunResult SaveAndEnd(const JobItems& items, bool& told) {
  TRACE(3, "Start xfr backup");
  const SavedItems saved = ExecuteXFR(items);
  const ItemList names = NamesOf(saved.entries);
  if (saved.result == RunResult::kFailure) {
    TRACE(1, "ERROR: Backuping file failes.");
    // The database has to be told in any case; the job has failed whatever it answers.
    static_cast<void>(HandleSwitchFiles({names, "", ""}, SwitchTag::kEnd));
    told = true;
    return Fail(names, items.directory);
  }
  const ItemList ended = items.directory.empty() ? names : ItemList{items.directory};
  const RunResult answer = HandleSwitchFiles({ended, "", ""}, SwitchTag::kEnd);
  told = true;
  if (answer == RunResult::kFailure) {
    TRACE(1, "ERROR: Handling switch files (#END) failes.");
    return Fail(names, items.directory);
  }
  const RunResult written = WriteLines(names, items.directory, ItemStatus::kDone);
  return written == RunResult::kFailure ? written : saved.result;
}

// A database that nobody tells stays in its backup state. It may have been asked just before memory ran out.
void EndWithLittleMemory(const JobItems& items) {
  try {
    static_cast<void>(SwitchFilesExist() ? TakeSwitchAnswer() : HandleSwitchFiles(items, SwitchTag::kEnd));
  } catch (const std::bad_alloc&) {
    return;  // what memory there is does not even suffice for this
  }
}

}  // namespace

RunResult BackupOnline(const JobItems& items) {
  if (RunIsInterrupted() || HandleSwitchFiles(items, SwitchTag::kBegin) == RunResult::kFailure) {
    // The mover was not started: its items are the job's own.
    TRACE(1, "ERROR: Handling switch files (#BEGIN) failes.");
    return Fail(ReadItemsAloud(items).names, items.directory);
  }
  bool told = false;
  try {
    return SaveAndEnd(items, told);
  } catch (const std::bad_alloc&) {
    if (!told) {
      EndWithLittleMemory(items);
    }
    throw;
  }
}
