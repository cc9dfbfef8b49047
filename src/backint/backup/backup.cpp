#include "backint/backup/backup.h"

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "backint/backup/backup_job.h"
#include "backint/backup/saveset_packing.h"
#include "backint/base/interrupt.h"
#include "backint/base/path.h"
#include "backint/base/text.h"
#include "backint/base/trace.h"
#include "backint/caller/bi_files.h"
#include "backint/caller/input_list.h"
#include "backint/caller/result_line.h"
#include "backint/server/com_interface.h"
#include "platform/platform.h"

namespace {

constexpr const char* kTraceSource = "backint_back";

// Reports an item that no job gets.
void ReportRefusedItem(const std::string& item) {
  static_cast<void>(WriteBackupResult(item, ItemStatus::kFailed));
}

void ReportRefusedItems(const ItemList& items) {
  ResultLines lines;
  for (const std::string& item : items) {
    ReportRefusedItem(item);
  }
}

// The only job of a run in which every item is a log file: the mover reads the input file itself.
RunResult RunLogJob(InputFile input) {
  TRACE(3, "INFO: ....Log Files Backup .....");
  SpooledInput spool;
  if (!input.rereadable && !spool.Write(input.lines)) {
    ReportRefusedItems(input.lines);
    return RunResult::kFailure;
  }
  const RunResult result =
      BackupJob({std::move(input.lines), input.rereadable ? input.path : spool.Path(), ""});
  TRACE(3, "INFO: ....Backuping file list finished with code :%d.\n", NumberOf(result));
  return result;
}

// Saves the redo logs and control files of an ordinary list, in a job of their own before the others. False
// if the items cannot be processed at all.
bool RunSpecialJob(const ItemList& items, RunResult& result) {
  SpecialItems special;
  if (SplitRedoAndControlFiles(items, special) == RunResult::kFailure) {
    TRACE(1, "ERROR: There was error on checking online redo logs in list.");
    return false;
  }
  if (special.list == nullptr) {
    return true;
  }
  const std::string& path = special.list->Path();
  if (platform::TextFile::Open(path, platform::TextFile::Mode::kRead) == nullptr) {
    TRACE(1, "ERROR: There was error on opening new online redo log input file.");
    special.list->Keep();
    return false;
  }
  TRACE(3, "INFO: ... Backuping online redo log separately ...");
  FoldResult(result, BackupJob({special.names, path, ""}));
  TRACE(3, "INFO: Finished online redo log");
  special.list->Remove();
  TRACE(3, "INFO: Deleting temporary input file:[%s].", path.c_str());
  return true;
}

bool BelongsToSpecialJob(const std::string& item) {
  if (IsOnlineRedoLog(item)) {
    TRACE(3, "INFO: Skipping online redo log (already backed up in its own session): [%s].", item.c_str());
    return true;
  }
  if (IsControlFile(item)) {
    TRACE(3, "INFO: Skipping control file (already backed up in its own session): [%s].", item.c_str());
    return true;
  }
  return false;
}

bool IsRootDirectory(const std::string& item) {
  const std::size_t end = item.find_last_not_of("/\\");
  return end == std::string::npos || (end == 1 && item[1] == ':');
}

// Whether no job can save the item, which exists. This is traced and counts as a failure.
bool RefusesItem(const std::string& item, bool directory) {
  if (IsUnsavableName(item)) {
    TRACE(1, "ERROR: a name with a backslash cannot be backed up: %s.", item.c_str());
    return true;
  }
  if (directory && IsRootDirectory(item)) {
    TRACE(1, "ERROR: a root directory cannot be backed up: %s.", item.c_str());
    return true;
  }
  return false;
}

void RunDirectoryJob(const std::string& item, RunResult& result) {
  const RunResult jobResult = BackupJob({{item}, "", item});
  FoldResult(result, jobResult);
  TRACE(3, "INFO: ....Backuping finished with code :%d.\n", NumberOf(jobResult));
}

// An item of an ordinary list and what its name stands for.
struct FoundItem {
  std::string name;
  platform::PathInfo info;
  bool directory;
};

// Looks up the next items, up to a directory. This may take long, so it is finished before anything is said
// about these items.
std::vector<FoundItem> LookUpSome(ItemList::Iterator& next, const ItemList::Iterator& end) {
  constexpr std::size_t kMost = 64;
  std::vector<FoundItem> found;
  while (next != end && found.size() < kMost && (found.empty() || !found.back().directory)) {
    std::string name = *next;
    const platform::PathInfo info = platform::LookUp(name);
    const bool directory = IsDirectory(name, info);
    found.push_back({std::move(name), info, directory});
    ++next;
  }
  return found;
}

// Decides one item of an ordinary list: it is reported at once, or given back as the directory to save now,
// or added to the files that wait for their saveset.
void DecideItem(const FoundItem& item, std::string& directory, std::vector<FileRecord>& files,
                RunResult& result) {
  const bool missing = item.name.empty() || item.info.kind == platform::PathKind::kMissing;
  if (!IsUnsavableName(item.name) && missing) {
    TRACE(2, "WARNING: item from input file does not exist: %s.", item.name.c_str());
    ReportRefusedItem(item.name);
  } else if (RefusesItem(item.name, item.directory)) {
    ReportRefusedItem(item.name);
    FoldResult(result, RunResult::kFailure);
  } else if (item.directory) {
    directory = item.name;
  } else {
    files.push_back({item.name, GetFileSizeMb(item.info)});
  }
}

// Works through the items and returns the files that are left.
std::vector<FileRecord> HandleItems(const ItemList& items, RunResult& result) {
  std::vector<FileRecord> files;
  for (ItemList::Iterator next = items.begin(); next != items.end();) {
    const std::vector<FoundItem> found = LookUpSome(next, items.end());
    std::string directory;
    {
      const ResultLines lines;
      for (const FoundItem& item : found) {
        if (IsUnsavableName(item.name) || !BelongsToSpecialJob(item.name)) {
          DecideItem(item, directory, files, result);
        }
      }
    }
    if (!directory.empty()) {
      RunDirectoryJob(directory, result);
    }
  }
  return files;
}

void TellSaveset(const ItemList& names) {
  std::string joined;
  if (JoinUpTo(names, kShownListWidth, joined)) {
    TRACE(3, "INFO: ....Backuping File Item(s) ..... %s.", joined.c_str());
  } else {
    TRACE(3, "INFO: ....Backuping File Item(s) .....");
  }
}

void RunSavesetJobs(std::vector<FileRecord> files, RunResult& result) {
  const std::vector<ItemList> savesets = PackSavesets(std::move(files), ToNumber(Params().szSavesetSize));
  for (const ItemList& names : savesets) {
    TellSaveset(names);
    const RunResult jobResult = BackupJob({names, "", ""});
    FoldResult(result, jobResult);
    TRACE(3, "INFO: ....Backuping finished with code :%d.\n", NumberOf(jobResult));
  }
}

RunResult RunJobs(InputFile input) {
  RunResult result = RunResult::kSuccess;
  if (IsLogFileList(input.lines)) {
    return RunLogJob(std::move(input));
  }
  if (!RunSpecialJob(input.lines, result)) {
    return RunResult::kFailure;
  }
  RunSavesetJobs(HandleItems(input.lines, result), result);
  return result;
}

RunResult ProcessBackupList(InputFile input) {
  if (OpenSession() == RunResult::kFailure) {
    TRACE(1, "ERROR: xfr_com_interface backup call [OPEN_SESSION] returned error.");
    if (RunIsInterrupted()) {
      ReportRefusedItems(input.lines);
    }
    return RunResult::kFailure;
  }
  TraceInputList(input.lines);
  RunResult result = RunJobs(std::move(input));
  if (RunIsInterrupted()) {
    result = RunResult::kFailure;
  }
  if (CloseSession(result) == RunResult::kFailure) {
    TRACE(1, "ERROR: xfr_com_interface backup call [CLOSE_SESSION] returned error.");
    return RunResult::kFailure;
  }
  return RunIsInterrupted() ? RunResult::kFailure : result;
}

}  // namespace

RunResult Backup() {
  TRACE(1, "INFO: Backup() ...");
  std::optional<InputFile> input = OpenInputFile(Params().szInFile);
  if (!input) {
    return RunResult::kFailure;
  }
  const RunResult result = ProcessBackupList(std::move(*input));
  TRACE(1, "INFO: Backup() finished. Return value: %d.", NumberOf(result));
  return result;
}
