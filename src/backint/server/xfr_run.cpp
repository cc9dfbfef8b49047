#include "backint/server/xfr_run.h"

#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>

#include "backint/base/interrupt.h"
#include "backint/base/marker_name.h"
#include "backint/base/path.h"
#include "backint/base/print.h"
#include "backint/base/text.h"
#include "backint/base/trace.h"
#include "backint/server/dir_marker.h"
#include "backint/server/status_line.h"
#include "platform/platform.h"

namespace {

constexpr const char* kTraceSource = "backint_func";

// If the first word contains "exe", there must be such a file. Any other may be a piece of a path with a
// blank.
bool ProgramIsThere(const std::string& command) {
  const std::string program = command.substr(0, command.find(' '));
  return program.find("exe") == std::string::npos || FileExists(program);
}

void TellNotStarted(const std::string& why) {
  TellOnStandardError("ERROR: The data mover cannot be started: " + why + ".");
}

// Starts the program with whose path the command begins. The rest of the command, with its leading blank, is
// passed on as one text.
std::unique_ptr<platform::ToolStream> SpawnXfr(const std::string& command, std::string& why) {
  for (const std::string& path : {Server().szXfrPath, Server().szComInterfacePath}) {
    if (!path.empty() && command.starts_with(path)) {
      std::string program = path;
      TrimBlanks(program, Trim::kEnd);
      return platform::StartDataMover(program, command.substr(path.size()), &why);
    }
  }
  return nullptr;
}

// The item of the run that a line confirms, by its position.
struct Confirmed {
  std::size_t position = 0;
  std::optional<std::string> path;  // as the line names it
};

// The name of a directory, without the separator at its end.
std::string NameOf(std::string name, const XfrJob& job) {
  if (job.directory && EndsWithChar(name, platform::SeparatorOf(name))) {
    name.pop_back();
  }
  return name;
}

// The restore of a directory reports its only item once, however many lines name it.
void PushRestoredDirectory(const std::string& name, ItemList& confirmedItems) {
  TraceF("%l1 File restored found in input list. Add it output list: %s0", name.c_str());
  if (!confirmedItems.Contains(name)) {
    confirmedItems.Push(name);
  }
  TraceF("%l1 Push lhSuccessResultList restore: %s0", name.c_str());
}

// A marker file is not a file of the user: it is deleted as soon as it is restored.
void DropMarker(const std::string& path) {
  constexpr std::uint32_t kMoverLetsGo = 1000;
  if (Upper(path).ends_with(Upper(kMarkerName))) {
    TraceBatch::WriteOut();
    platform::SleepMilliseconds(kMoverLetsGo);
    DeleteDirMarker(path);
  }
}

void TakeRestoredDirectory(const Confirmed& confirmed, XfrJob& job, ItemList& confirmedItems) {
  if (!confirmed.path) {
    // With a separator at its end if the request has one: a shorter entry would not match the request.
    PushRestoredDirectory(job.matcher.ListForm(confirmed.position), confirmedItems);
    return;
  }
  const std::vector<ItemMatcher::Match> matches = job.matcher.MatchPath(*confirmed.path);
  job.trace.TellDirectoryTaking(*confirmed.path);
  DropMarker(*confirmed.path);
  if (matches.empty()) {
    TraceF("%l1 File restored but not in input list: %s0", NameOf(*confirmed.path, job).c_str());
  } else {
    PushRestoredDirectory(NameOf(matches.back().listForm, job), confirmedItems);
  }
}

// The name under which an item is confirmed: the last match decides.
void TakeItem(const std::string& path, XfrJob& job, ItemList& confirmedItems) {
  const std::vector<ItemMatcher::Match> matches = job.matcher.MatchPath(path);
  job.trace.TellTaking(path);
  const std::string name = NameOf(matches.empty() ? path : matches.back().listForm, job);
  confirmedItems.Push(name);
  TRACE(3, "Push lhSuccessResultList: %s0", name.c_str());
}

void TakeConfirmedItem(const std::string& line, const Confirmed& confirmed, XfrJob& job,
                       ItemList& confirmedItems) {
  const bool directoryRestore = job.kind == XfrJob::Kind::kRestore && job.directory;
  if (!confirmed.path && !directoryRestore) {
    TRACE(2, "WARNING: Cannot read item from XFR line: [%s]", line.c_str());
    return;
  }
  if (confirmed.path) {
    TRACE(3, "INFO: File: [%s] successfully processed.", confirmed.path->c_str());
  }
  if (directoryRestore) {
    TakeRestoredDirectory(confirmed, job, confirmedItems);
  } else {
    TakeItem(*confirmed.path, job, confirmedItems);
  }
}

// Traces the segment number: the four characters after "SEGMENT" and one separator.
void TraceSegment(const std::string& line) {
  constexpr std::size_t kSegmentText = 12;
  constexpr std::size_t kNumber = 4;
  const std::size_t start = line.find("SEGMENT");
  if (start == std::string::npos || line.find("LOGIN REPLY") == std::string::npos) {
    return;
  }
  const std::string cut = line.substr(0, std::min(line.size(), start + kSegmentText));
  TRACE(3, "INFO: SEGMENT NUMBER: %s", cut.substr(cut.size() - kNumber).c_str());
}

// If the mover has created a directory for the only item of a restore, the item counts as a directory from
// here on.
void LookForRestoredDirectory(XfrJob& job) {
  if (job.kind == XfrJob::Kind::kRestore && !job.directory && job.items.names.Count() == 1) {
    job.directory = IsDirectory(*job.items.names.Get(1));
  }
}

std::optional<Confirmed> SearchItem(const std::string& line, XfrJob& job) {
  const std::optional<std::size_t> position = job.matcher.FindConfirmed(line, job.directory);
  job.trace.TellSearch(line, job.directory, position);
  return position ? std::optional<Confirmed>({*position, ReportedPath(line)}) : std::nullopt;
}

// The code of a status line becomes the code of the run, unless that is kCannotWrite, which stays. Removes a
// carriage return at the end of such a line.
void TakeStatus(std::string& line, int& lastCode) {
  const int code = StatusCode(line);
  if (code == kNoCode) {
    return;
  }
  lastCode = lastCode == kCannotWrite ? lastCode : code;
  WriteXfrTrace(kTraceSource, __LINE__, line);
  StripNewline(line);
  TRACE(3, "INFO: XFR Message Line: ===[%s]===. ", line.c_str());
}

void HandleLine(std::string line, XfrJob& job, int& lastCode, ItemList& confirmedItems) {
  const TraceBatch batch;
  TrimBlanks(line);
  StripNewline(line);
  WriteXfrTrace(kTraceSource, __LINE__, line);
  TRACE(3, "xfr: [%s]", line.c_str());
  std::optional<Confirmed> confirmed;
  if (IsItemLine(line)) {
    confirmed = SearchItem(line, job);
    LookForRestoredDirectory(job);
  }
  TakeStatus(line, lastCode);
  TRACE(3, "Item found: [%d]", confirmed ? 1 : 0);
  if (confirmed) {
    TakeConfirmedItem(line, *confirmed, job, confirmedItems);
  }
  // If the item of the line was taken, the text after its path no longer counts.
  TraceSegment(confirmed && confirmed->path ? std::string(UpToLastBracket(line)) : line);
}

RunResult ResultOf(int lastCode) {
  switch (lastCode) {
    case kSuccessful:
      return RunResult::kSuccess;
    case kSuccessfulWithWarnings:
      return RunResult::kWarnings;
    case kNothingProcessed:
    case kCannotWrite:
    case kOperationFailed:
      return RunResult::kFailure;
    default:
      TRACE(1, "There was no XFR Success Info output line.");
      return RunResult::kFailure;
  }
}

}  // namespace

XfrRun RunXfr(const std::string& command, XfrJob& job) {
  if (command.size() > kCommandWidth) {
    TRACE(1, "ERROR: XFR command is too long.");
    return {RunResult::kFailure, {}};
  }
  if (!ProgramIsThere(command)) {
    TRACE(1, "ERROR: Cannot find XFR executable file.");
    TellNotStarted(command.substr(0, command.find(' ')) + ": there is no such file");
    return {RunResult::kFailure, {}};
  }
  if (RunIsInterrupted()) {
    return {RunResult::kFailure, {}};
  }
  std::string why;
  const std::unique_ptr<platform::ToolStream> stream = SpawnXfr(command, why);
  if (!why.empty()) {
    TellNotStarted(why);
  }
  if (stream == nullptr) {
    TRACE(1, "ERROR: XFR call failed");
    return {RunResult::kFailure, {}};
  }
  XfrRun run{RunResult::kFailure, {}};
  int lastCode = kNoCode;
  for (std::string line; stream->ReadLine(line, kPathWidth);) {
    // Lines that came at once go to the traces at once.
    const TraceBatch batch;
    do {
      HandleLine(line, job, lastCode, run.confirmed);
    } while (stream->HasLine() && stream->ReadLine(line, kPathWidth));
  }
  run.result = ResultOf(lastCode);
  run.result = RunIsInterrupted() ? RunResult::kFailure : run.result;
  return run;
}
