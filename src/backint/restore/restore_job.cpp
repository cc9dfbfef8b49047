#include "backint/restore/restore_job.h"

#include <string>

#include "backint/base/interrupt.h"
#include "backint/base/path.h"
#include "backint/base/text.h"
#include "backint/base/trace.h"
#include "backint/caller/item_entries.h"
#include "backint/caller/item_sources.h"
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
  for (const std::string& file : files) {
    static_cast<void>(WriteLine(file, status));
  }
  return RunResult::kFailure;
}

// Whether the job cannot be handed over at all; that is told.
bool IsRefused(const std::string& destination) {
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

// The names as the command and the list file have them.
ItemList WithForwardSlashes(const ItemList& files) {
  ItemList names;
  for (const std::string& file : files) {
    names.Push(platform::IsSystemName(file) ? file : ToUnix(file));
  }
  return names;
}

// The directory that an item lies in, or the item itself if its name has no separator. A slash in a name of
// the other kind is none, so a relative name with slashes counts as a whole.
std::string ParentOf(const std::string& item) { return item.substr(0, platform::LastSeparator(item)); }

std::string DestinationText(const std::string& destination, const ItemList& files) {
  if (destination.empty()) {
    return "";
  }
  if (destination.find("-R") != std::string::npos) {
    return destination + " ";
  }
  if (Params().bDirItem) {
    return "-R " + ToUnix(ParentOf(*files.Get(1))) + ":" + ToUnix(destination) + " ";
  }
  return "-R " + destination + " -o plain ";
}

// Brings the reply's values and the destination into the form of the command; gives the destination's text.
// `names` are the files with forward slashes.
std::string PrepareFields(const ItemList& files, const ItemList& names, std::string destination) {
  SessionData& session = Session();
  session.szItem = JoinItems(names);
  Params().bDirItem = names.Count() == 1 && IsDirectory(*names.Get(1));
  ToSwitchForm(session.szDrive, "-d");
  ToSwitchForm(session.szJobName, "-j");
  ToSwitchForm(session.szTape, "-t");
  ToSwitchForm(session.szSegment, "-n");
  Params().bRestoreDest = !IsEmptyLine(destination);
  Params().szRestoreDir = destination;
  return DestinationText(destination, files);
}

// `source` is what stands behind the mover's trace level: the files, or "-f" and the list.
std::string ComposeCommand(const std::string& destinationText, const std::string& source) {
  const SessionData& session = Session();
  return FormatText("%s -r -S %s -s %s %s%s%s%s%s -o over -v %s %s", session.szXfrPath.c_str(),
                    session.szReplyTapeServer.c_str(), session.szSavesetShort.c_str(),
                    session.szDrive.c_str(), session.szJobName.c_str(), session.szTape.c_str(),
                    session.szSegment.c_str(), destinationText.c_str(), session.szXfrTraceLevel.c_str(),
                    source.c_str());
}

// False if the list file cannot be written.
bool MakeCommand(const ItemList& files, const std::string& destinationText, std::string& command) {
  SessionData& session = Session();
  command = ComposeCommand(destinationText, session.szItem);
  if (!TakesFileList(command, files)) {
    return true;
  }
  TRACE(3, "INFO: Backup Source too long. Putting files into file list: filelist.txt.");
  if (WriteFileList(files) == RunResult::kFailure) {
    TRACE(1, "ERROR: Could not create restore file list.");
    return false;
  }
  command = ComposeCommand(destinationText, "-f " + FileArgument("", session.szFileListFile));
  return true;
}

void TellRestore(const ItemList& files, const std::string& destination) {
  std::string joined;
  JoinUpTo(files, kShownMessageWidth, joined);
  TraceF("%l0 INFO: Restore file: %s, directory: %s", joined.c_str(), destination.c_str());
}

RunResult RestoreFiles(const ItemList& files, const std::string& destination, ItemEntries& entries) {
  TellRestore(files, destination);
  const ItemList names = WithForwardSlashes(files);
  const std::string destinationText = PrepareFields(files, names, destination);
  XfrJob job(HoldRunItems(names), Params().bRestoreDest ? Params().szRestoreDir : "");
  std::string command;
  ItemList lhSuccessResultList;
  RunResult moverResult = RunResult::kFailure;
  if (MakeCommand(files, destinationText, command)) {
    TRACE(3, "INFO: %s.", command.c_str());
    moverResult = RunXfr(command, job, lhSuccessResultList);
  }
  TRACE(1, "INFO: XFR finished");
  const bool complete = SettleFiles(files, lhSuccessResultList, moverResult, job.trace, entries);
  DeleteFileList(kTraceSource);
  if (!complete) {
    return RunResult::kFailure;
  }
  TRACE(3, "cpFile: [%s]", ShownEntries(entries).c_str());
  return moverResult;
}

RunResult ReportEntries(const ItemEntries& entries) {
  RunResult result = RunResult::kSuccess;
  for (const ItemEntry& entry : entries) {
    TRACE(3, "ListFIFO: %s", EntryText(entry).c_str());
    FoldResult(result, WriteLine(entry.name, entry.status));
  }
  return result;
}

void NameSaveset(const std::string& backupId) {
  Params().szBackupId = backupId;
  Session().szSavesetShort = backupId;
  Session().szSavesetName = backupId;
}

}  // namespace

RunResult RestoreJob(const std::string& backupId, const ItemList& files, const std::string& destination) {
  if (RunIsInterrupted() || IsRefused(destination)) {
    return ReportAll(files, ItemStatus::kFailed);
  }
  TellFiles(files);
  NameSaveset(backupId);
  if (RunComInterface(ComOperation::kOpenJob) == RunResult::kFailure) {
    TRACE(1, "ERROR: xfr_com_interface restore call [OPEN_JOB] returned error.");
    return ReportAll(files, ItemStatus::kNotHeld);
  }
  ItemEntries entries;
  RunResult result = RestoreFiles(files, destination, entries);
  Params().nJobState = StateOf(result);
  FoldResult(result, RunComInterface(ComOperation::kCloseJob));
  FoldResult(result, ReportEntries(entries));
  return result;
}
