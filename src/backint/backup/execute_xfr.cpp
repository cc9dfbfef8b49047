#include "backint/backup/execute_xfr.h"

#include <string>
#include <unordered_set>
#include <utility>

#include "backint/base/trace.h"
#include "backint/caller/item_sources.h"
#include "backint/server/com_interface.h"
#include "backint/server/file_list.h"
#include "backint/server/xfr_run.h"
#include "platform/platform.h"

namespace {

constexpr const char* kTraceSource = "backint_back";

void WarnOfBlanks(const ItemList& items) {
  for (const std::string& item : items) {
    if (item.find(' ') != std::string::npos) {
      TRACE(2, "WARNING: a name with a blank can be restored only with %%20 for each blank: %s.",
            item.c_str());
    }
  }
}

void PrepareFields(const ItemList& items) {
  SessionData& session = Session();
  session.szItem = Params().bLogsRun ? "-f " + FileArgument("", Params().szInFile) : JoinItems(items);
  session.szXfrSource = "c";
  ToSwitchForm(session.szDrive, "-d");
  ToSwitchForm(session.szJobName, "-j");
  ToSwitchForm(session.szTape, "-t");
  session.szXfrFormat = Params().bDirItem && Params().bDirectoryXfrUse ? "-o plain " : "";
}

// `source` is what stands behind the mover's trace level: the items, or "-f" and a file.
std::string ComposeCommand(const std::string& source) {
  const SessionData& session = Session();
  return FormatText("%s -b -l %s -S %s -s %s  %s%s%s%s -v %s %s", session.szXfrPath.c_str(),
                    session.szXfrSource.c_str(), session.szReplyTapeServer.c_str(),
                    session.szSavesetShort.c_str(), session.szDrive.c_str(), session.szJobName.c_str(),
                    session.szTape.c_str(), session.szXfrFormat.c_str(), session.szXfrTraceLevel.c_str(),
                    source.c_str());
}

// The command with the items on it, or, where that does not do, with a list file. False if the list cannot be
// written.
bool MakeCommand(const ItemList& items, std::string& command) {
  SessionData& session = Session();
  session.szFileListFile.clear();
  command = ComposeCommand(session.szItem);
  if (!TakesFileList(command, items)) {
    return true;
  }
  TRACE(3, "INFO: Backup Source too long. Putting files into file list: filelist.txt.");
  SetFileListPath();
  TRACE(3, "INFO: File list: %s.", session.szFileListFile.c_str());
  if (WriteFileList(items) == RunResult::kFailure) {
    TRACE(1, "ERROR: Could not create backup file list.");
    session.szFileListFile.clear();
    return false;
  }
  command = ComposeCommand("-f " + FileArgument("@file:", session.szFileListFile));
  return true;
}

// The items whose fate the caller has to learn: in a log run what the input file holds now.
ItemList RequestedItems(const ItemList& items) {
  if (!Params().bLogsRun) {
    return items;
  }
  ItemList requested;
  ReadInputItems(requested);
  return requested;
}

// Confirmed items first, then the requested ones that nobody confirmed. False if there are any of those.
bool SettleItems(const ItemList& requested, const ItemList& lhSuccessResultList, ItemEntries& entries) {
  const TraceBatch batch;
  std::unordered_set<std::string> confirmed;
  entries.clear();
  for (const std::string& name : lhSuccessResultList) {
    entries.push_back({name, ItemStatus::kDone});
    confirmed.insert(platform::NameKey(name));
  }
  const std::size_t confirmedEntries = entries.size();
  for (const std::string& name : requested) {
    if (!confirmed.contains(platform::NameKey(name))) {
      TRACE(1, "ERROR: File: [%s] has not been successfully backed up.", name.c_str());
      entries.push_back({name, ItemStatus::kFailed});
    }
  }
  return entries.size() == confirmedEntries;
}

RunResult RunMover(RunItems items, const std::string& command, ItemList& lhSuccessResultList) {
  TRACE(3, "INFO: %s.", command.c_str());
  XfrJob job(std::move(items), "");
  const RunResult result = RunXfr(command, job, lhSuccessResultList);
  TRACE(3, "INFO: ExecuteXFR finished.");
  return result;
}

}  // namespace

RunResult ExecuteXFR(const ItemList& items, ItemEntries& entries) {
  RunItems held = HoldRunItems(items);
  WarnOfBlanks(held.names);
  PrepareFields(items);
  std::string command;
  ItemList lhSuccessResultList;
  if (!MakeCommand(items, command)) {
    SettleItems(RequestedItems(items), lhSuccessResultList, entries);
    return RunResult::kFailure;
  }
  RunResult result = RunMover(std::move(held), command, lhSuccessResultList);
  if (!SettleItems(RequestedItems(items), lhSuccessResultList, entries)) {
    result = RunResult::kFailure;
  }
  DeleteFileList(kTraceSource);
  return result;
}
