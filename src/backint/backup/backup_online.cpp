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

// Writes the job's lines, all with one status. The result is that of the last line, or a failure if the
// output cannot be closed without a loss.
RunResult WriteLines(const ItemList& names, const std::string& directory, ItemStatus status) {
  if (!directory.empty()) {
    return WriteBackupResult(directory, status);
  }
  ResultLines lines;
  RunResult result = RunResult::kSuccess;
  for (const std::string& name : names) {
    result = WriteBackupResult(name, status);
    if (result == RunResult::kFailure) {
      TRACE(1, "%s", kOutputFailed);
    }
  }
  FoldResult(result, lines.Close());
  return result;
}

RunResult Fail(const ItemList& names, const std::string& directory) {
  static_cast<void>(WriteLines(names, directory, ItemStatus::kFailed));
  return RunResult::kFailure;
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

}  // namespace

RunResult HandleSwitchFiles(const JobItems& items, SwitchTag tag, bool& asked) {
  if (SwitchFilesExist()) {
    TRACE(1, "ERROR: BRBACKUP already in use.");
    return RunResult::kFailure;
  }
  if (CreateSwitchFiles(items, tag) == RunResult::kFailure) {
    TRACE(1, "ERROR: Creating switch files (begin) failes.");
    return RunResult::kFailure;
  }
  asked = true;
  return TakeSwitchAnswer();
}

namespace {

// What BRBACKUP was told.
struct Told {
  bool begin = false;
  bool end = false;
  bool nothingMore = false;  // it has refused the beginning or answered to the end
};

// The rest of a job after BRBACKUP was told `#BEGIN`.
RunResult SaveAndEnd(const JobItems& items, Told& told) {
  TRACE(3, "Start xfr backup");
  const SavedItems saved = ExecuteXFR(items);
  const ItemList names = NamesOf(saved.entries);
  if (saved.result == RunResult::kFailure) {
    TRACE(1, "ERROR: Backuping file failes.");
    // The database must be told in any case. Whatever it answers, the job has failed.
    static_cast<void>(HandleSwitchFiles({names, "", ""}, SwitchTag::kEnd, told.end));
    told.nothingMore = true;
    return Fail(names, items.directory);
  }
  const ItemList ended = items.directory.empty() ? names : ItemList{items.directory};
  const RunResult answer = HandleSwitchFiles({ended, "", ""}, SwitchTag::kEnd, told.end);
  told.nothingMore = true;
  if (answer == RunResult::kFailure) {
    TRACE(1, "ERROR: Handling switch files (#END) failes.");
    return Fail(names, items.directory);
  }
  const RunResult written = WriteLines(names, items.directory, ItemStatus::kDone);
  return written == RunResult::kFailure ? written : saved.result;
}

// A database that nobody tells stays in its backup state. An answer that was not taken yet belongs to what
// was told last. A beginning that was refused needs no end.
void EndWithLittleMemory(const JobItems& items, Told& told) {
  try {
    const bool refused = SwitchFilesExist() && TakeSwitchAnswer() == RunResult::kFailure;
    if (!told.end && !refused) {
      static_cast<void>(HandleSwitchFiles(items, SwitchTag::kEnd, told.end));
    }
  } catch (const std::bad_alloc&) {
    return;  // the memory does not suffice even for this
  }
}

RunResult SaveBetween(const JobItems& items, Told& told) {
  if (RunIsInterrupted() || HandleSwitchFiles(items, SwitchTag::kBegin, told.begin) == RunResult::kFailure) {
    // The mover was not started, so the items are the job's own.
    told.nothingMore = true;
    TRACE(1, "ERROR: Handling switch files (#BEGIN) failes.");
    return Fail(ReadItemsAloud(items).names, items.directory);
  }
  return SaveAndEnd(items, told);
}

}  // namespace

RunResult BackupOnline(const JobItems& items) {
  Told told;
  try {
    return SaveBetween(items, told);
  } catch (const std::bad_alloc&) {
    if (told.begin && !told.nothingMore) {
      EndWithLittleMemory(items, told);
    }
    throw;
  }
}
