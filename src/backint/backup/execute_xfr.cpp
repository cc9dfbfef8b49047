#include "backint/backup/execute_xfr.h"

#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "backint/base/text_numbers.h"
#include "backint/base/trace.h"
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

// `source` follows the mover's trace level: the items, or "-f" and a file.
std::string BackupCommand(const JobItems& items, const std::string& source) {
  const SessionData& server = Server();
  const bool walksDirectory = !items.directory.empty() && Params().bDirectoryXfrUse;
  const std::string options = OptionText("-d", server.szDrive) + OptionText("-j", server.szJobName) +
                              OptionText("-t", server.szTape) + (walksDirectory ? "-o plain " : "");
  return FormatText("%s -b -l c -S %s -s %s  %s -v %s %s", server.szXfrPath.c_str(),
                    server.szReplyTapeServer.c_str(), server.szSavesetShort.c_str(), options.c_str(),
                    server.szXfrTraceLevel.c_str(), source.c_str());
}

std::string ShortCommand(const JobItems& items) {
  const std::string file = items.listFile.empty() ? "" : "-f " + FileArgument("", items.listFile);
  return BackupCommand(items, file.empty() ? JoinForCommand(items.names) : file);
}

// The command with a list file instead of the items; nothing if the list cannot be written.
std::optional<std::string> CommandWithList(const JobItems& items, FileList& list) {
  TRACE(3, "INFO: Backup Source too long. Putting files into file list: filelist.txt.");
  TRACE(3, "INFO: File list: %s.", list.Path().c_str());
  if (list.Write(items) == RunResult::kFailure) {
    TRACE(1, "ERROR: Could not create backup file list.");
    return std::nullopt;
  }
  return BackupCommand(items, "-f " + FileArgument("@file:", list.Path()));
}

XfrRun RunMover(const JobItems& items, ItemReading held, const std::string& command) {
  TRACE(3, "INFO: %s.", command.c_str());
  XfrJob job(XfrJob::Kind::kBackup, !items.directory.empty(), std::move(held), "");
  XfrRun run = RunXfr(command, job);
  TRACE(3, "INFO: ExecuteXFR finished.");
  return run;
}

// Starts the mover with the items on its command line or, if that is not possible, with a list file.
XfrRun SaveItems(const JobItems& items, ItemReading held, std::unique_ptr<FileList>& list) {
  const std::string command = ShortCommand(items);
  if (!TakesFileList(command, items.listFile.empty() ? items.names : ItemList())) {
    return RunMover(items, std::move(held), command);
  }
  list = std::make_unique<FileList>();
  const std::optional<std::string> withList = CommandWithList(items, *list);
  if (!withList) {
    list.reset();
    return {RunResult::kFailure, {}};
  }
  return RunMover(items, std::move(held), *withList);
}

// Confirmed items first, then the requested items that were not confirmed.
ItemEntries SettleItems(const ItemList& requested, ItemList confirmedItems) {
  const TraceBatch batch;
  TextNumbers confirmed;
  for (const std::string& name : confirmedItems) {
    confirmed.Add(platform::NameKey(name));
  }
  ItemEntries entries(std::move(confirmedItems), ItemStatus::kDone);
  for (const std::string& name : requested) {
    if (!confirmed.Contains(platform::NameKey(name))) {
      TRACE(1, "ERROR: File: [%s] has not been successfully backed up.", name.c_str());
      entries.Push(name, ItemStatus::kFailed);
    }
  }
  return entries;
}

}  // namespace

SavedItems ExecuteXFR(const JobItems& items) {
  ItemReading held = ReadItems(items);
  const bool heldWhole = held.end != ItemReading::End::kFailed;
  WarnOfBlanks(held.names);
  std::unique_ptr<FileList> list;
  XfrRun run = SaveItems(items, std::move(held), list);
  // In a log run this is what the list file contains now.
  const ItemReading requested = ReadItemsAloud(items);
  const std::size_t confirmed = run.confirmed.Count();
  SavedItems saved{run.result, SettleItems(requested.names, std::move(run.confirmed))};
  if (saved.entries.Count() != confirmed || !heldWhole || requested.end == ItemReading::End::kFailed) {
    saved.result = RunResult::kFailure;
  }
  if (list != nullptr) {
    list->Delete(kTraceSource);
  }
  return saved;
}
