#include "backint/backint_func/xfr_run.h"

#include <algorithm>
#include <memory>
#include <optional>

#include "backint/backint_func/trace.h"
#include "backint/backint_util/path.h"
#include "backint/backint_util/text.h"
#include "platform/platform.h"

namespace {

constexpr const char* kTraceSource = "backint_func";

// A first word that looks like an executable file has to be one; a piece of a path with a blank does not.
bool ProgramIsThere(const std::string& command) {
  const std::string program = command.substr(0, command.find(' '));
  return program.find("exe") == std::string::npos || FileExists(program);
}

// Starts the program that the command begins with; the arguments go along in one piece, leading blank
// included.
std::unique_ptr<platform::ToolStream> SpawnXfr(const std::string& command) {
  for (const std::string& path : {Session().szXfrPath, Session().szComInterfacePath}) {
    if (!path.empty() && command.starts_with(path)) {
      std::string program = path;
      TrimBlanks(program, Trim::kEnd);
      return platform::StartDataMover(program, command.substr(path.size()));
    }
  }
  return nullptr;
}

// The name under which an item is confirmed: the last one that matches decides.
void TakeConfirmedItem(const std::string& line, XfrJob& job, ItemList& lhSuccessResultList) {
  const std::optional<std::string> path = ReportedPath(line);
  if (!path) {
    TRACE(2, "WARNING: Cannot read item from XFR line: [%s]", line.c_str());
    return;
  }
  TRACE(3, "INFO: File: [%s] successfully processed.", path->c_str());
  const std::vector<ItemMatcher::Match> matches = job.matcher.MatchPath(*path);
  job.trace.TellTaking(*path);
  const std::string& name = matches.empty() ? *path : matches.back().listForm;
  lhSuccessResultList.Push(name);
  TRACE(3, "Push lhSuccessResultList: %s0", name.c_str());
}

// "SEGMENT", one separator and a number of four characters: the number goes to the trace.
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

// Whether the line confirms an item of the run.
bool ConfirmsItem(const std::string& line, XfrJob& job) {
  if (!IsItemLine(line)) {
    return false;
  }
  const std::optional<std::size_t> confirmed = job.matcher.FindConfirmed(line);
  job.trace.TellSearch(line, confirmed);
  return confirmed.has_value();
}

void HandleLine(std::string line, XfrJob& job, int& lastCode, ItemList& lhSuccessResultList) {
  const TraceBatch batch;
  TrimBlanks(line);
  StripNewline(line);
  WriteXfrTrace(kTraceSource, __LINE__, line);
  TRACE(3, "xfr: [%s]", line.c_str());
  const bool found = ConfirmsItem(line, job);
  const int code = StatusCode(line);
  if (code != kNoCode) {
    lastCode = lastCode == kCannotWrite ? lastCode : code;
    WriteXfrTrace(kTraceSource, __LINE__, line);
    StripNewline(line);
    TRACE(3, "INFO: XFR Message Line: ===[%s]===. ", line.c_str());
  }
  TRACE(3, "Item found: [%d]", found ? 1 : 0);
  if (found) {
    TakeConfirmedItem(line, job, lhSuccessResultList);
  }
  TraceSegment(line);
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

RunResult RunXfr(const std::string& command, XfrJob& job, ItemList& lhSuccessResultList) {
  if (command.size() > kCommandWidth) {
    TRACE(1, "ERROR: XFR command is too long.");
    return RunResult::kFailure;
  }
  if (!ProgramIsThere(command)) {
    TRACE(1, "ERROR: Cannot find XFR executable file.");
    return RunResult::kFailure;
  }
  const std::unique_ptr<platform::ToolStream> stream = SpawnXfr(command);
  if (stream == nullptr) {
    TRACE(1, "ERROR: XFR call failed");
    return RunResult::kFailure;
  }
  int lastCode = kNoCode;
  for (std::string line; stream->ReadLine(line, kPathWidth);) {
    HandleLine(line, job, lastCode, lhSuccessResultList);
  }
  return ResultOf(lastCode);
}
