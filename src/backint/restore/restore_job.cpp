#include "backint/restore/restore_job.h"

#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "backint/base/interrupt.h"
#include "backint/base/path.h"
#include "backint/base/text.h"
#include "backint/base/trace.h"
#include "backint/caller/item_entries.h"
#include "backint/restore/restore_settlement.h"
#include "backint/server/com_interface.h"
#include "backint/server/file_list.h"
#include "backint/server/xfr_run.h"
#include "platform/platform.h"

namespace {

constexpr const char* kTraceSource = "backint_rest";

RunResult WriteLine(const std::string& file, ItemStatus status) {
  const RunResult result = WriteRestoreResult(file, status);
  if (result == RunResult::kFailure) {
    TRACE(1, "ERROR: Opening ouptut file failed.");
  }
  return result;
}

RunResult ReportAll(const ItemList& files, ItemStatus status) {
  ResultLines lines;
  for (const std::string& file : files) {
    static_cast<void>(WriteLine(file, status));
  }
  static_cast<void>(lines.Close());
  return RunResult::kFailure;
}

// Whether the destination cannot be passed to the mover; if so, this is traced.
bool RefusesDestination(const std::string& destination) {
  if (destination.find_first_of("\t\"") == std::string::npos) {
    return false;
  }
  TRACE(1, "ERROR: destination directory cannot be handed over: %s.", destination.c_str());
  return true;
}

void TellFiles(const ItemList& files) {
  std::string joined;
  if (JoinUpTo(files, kShownListWidth, joined)) {
    TRACE(3, "INFO: ....Restoring File Item[s] ..... %s.", joined.c_str());
  } else {
    TRACE(3, "INFO: ....Restoring File Item[s].");
  }
}

// The names in the form for the command and the list file.
ItemList WithForwardSlashes(const ItemList& files) {
  ItemList names;
  for (const std::string& file : files) {
    names.Push(platform::IsSystemName(file) ? file : ToUnix(file));
  }
  return names;
}

// The directory that contains an item, or the item itself if its name has no separator. In a name that is not
// of this system, slashes do not separate: a relative name with slashes counts as a whole.
std::string ParentOf(const std::string& item) { return item.substr(0, platform::LastSeparator(item)); }

std::string DestinationText(const std::string& destination, const ItemList& files, bool isDirectory) {
  if (destination.empty()) {
    return "";
  }
  if (destination.find("-R") != std::string::npos) {
    return destination + " ";
  }
  if (isDirectory) {
    return "-R " + QuotedArgument(ToUnix(ParentOf(*files.Get(1))) + ":" + ToUnix(destination)) + " ";
  }
  return "-R " + destination + " -o plain ";
}

// `source` follows the mover's trace level: the files, or "-f" and the list.
std::string RestoreCommand(const std::string& destinationText, const std::string& source) {
  const SessionData& server = Server();
  const std::string options = OptionText("-d", server.szDrive) + OptionText("-j", server.szJobName) +
                              OptionText("-t", server.szTape) + OptionText("-n", server.szSegment);
  return FormatText("%s -r -S %s -s %s %s%s -o over -v %s %s", server.szXfrPath.c_str(),
                    server.szReplyTapeServer.c_str(), server.szSavesetShort.c_str(), options.c_str(),
                    destinationText.c_str(), server.szXfrTraceLevel.c_str(), source.c_str());
}

// The command with the files on it or, if that is not possible, with a list file. Nothing if the list cannot
// be written.
std::optional<std::string> MakeCommand(const ItemList& names, const std::string& destinationText,
                                       std::unique_ptr<FileList>& list) {
  const std::string command = RestoreCommand(destinationText, JoinForCommand(names));
  if (!TakesFileList(command, names)) {
    return command;
  }
  TRACE(3, "INFO: Backup Source too long. Putting files into file list: filelist.txt.");
  list = std::make_unique<FileList>();
  if (list->Write(names) == RunResult::kFailure) {
    TRACE(1, "ERROR: Could not create restore file list.");
    return std::nullopt;
  }
  return RestoreCommand(destinationText, "-f " + FileArgument("", list->Path()));
}

void TellRestore(const ItemList& files, const std::string& destination) {
  std::string joined;
  JoinUpTo(files, kShownMessageWidth, joined);
  TraceF("%l0 INFO: Restore file: %s, directory: %s", joined.c_str(), destination.c_str());
}

struct RestoredFiles {
  RunResult result;
  ItemEntries entries;
};

RestoredFiles RestoreFiles(const ItemList& files, std::string destination) {
  TellRestore(files, destination);
  ItemList names = WithForwardSlashes(files);
  const bool isDirectory = names.Count() == 1 && IsDirectory(*names.Get(1));
  static_cast<void>(IsEmptyLine(destination));
  XfrJob job(XfrJob::Kind::kRestore, isDirectory, {std::move(names), "", ItemReading::End::kWhole},
             destination);
  std::unique_ptr<FileList> list;
  const std::optional<std::string> command =
      MakeCommand(job.items.names, DestinationText(destination, files, isDirectory), list);
  XfrRun run{RunResult::kFailure, {}};
  if (command) {
    TRACE(3, "INFO: %s.", command->c_str());
    run = RunXfr(*command, job);
  }
  TRACE(1, "INFO: XFR finished");
  ItemEntries entries = SettleFiles(files, run, job.trace);
  if (list != nullptr) {
    list->Delete(kTraceSource);
  }
  if (entries.Count() != run.confirmed.Count()) {
    return {RunResult::kFailure, std::move(entries)};
  }
  TRACE(3, "cpFile: [%s]", ShownEntries(entries).c_str());
  return {run.result, std::move(entries)};
}

RunResult ReportEntries(const ItemEntries& entries) {
  RunResult result = RunResult::kSuccess;
  ResultLines lines;
  for (const ItemEntry& entry : entries) {
    TRACE(3, "ListFIFO: %s", EntryText(entry).c_str());
    FoldResult(result, WriteLine(entry.name, entry.status));
  }
  FoldResult(result, lines.Close());
  return result;
}

void NameSaveset(const std::string& backupId) {
  Params().szBackupId = backupId;
  Server().szSavesetShort = backupId;
  Server().szSavesetName = backupId;
}

}  // namespace

RunResult RestoreJob(const std::string& backupId, const ItemList& files, const std::string& destination) {
  if (RunIsInterrupted() || RefusesDestination(destination)) {
    return ReportAll(files, ItemStatus::kFailed);
  }
  TellFiles(files);
  NameSaveset(backupId);
  if (OpenJob() == RunResult::kFailure) {
    TRACE(1, "ERROR: xfr_com_interface restore call [OPEN_JOB] returned error.");
    return ReportAll(files, RunIsInterrupted() ? ItemStatus::kFailed : ItemStatus::kNotHeld);
  }
  const RestoredFiles restored = RestoreFiles(files, destination);
  RunResult result = restored.result;
  FoldResult(result, CloseJob(result));
  FoldResult(result, ReportEntries(restored.entries));
  return result;
}
