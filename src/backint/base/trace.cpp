#include "backint/base/trace.h"

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <new>
#include <set>

#include "backint/base/path.h"
#include "backint/base/print.h"
#include "backint/base/run_records.h"
#include "backint/base/text.h"
#include "platform/platform.h"

namespace {

constexpr std::size_t kLineWidth = 2047;
constexpr std::size_t kTraceFWidth = 4095;

// Lines that wait for the end of the outermost batch, or until so many bytes have come together, for each of
// the two files.
constexpr std::size_t kMostWaiting = 65536;
int openBatches = 0;
std::string waitingTrace;
std::string waitingXfrTrace;

// The name of a module: of a path only what stands behind its last backslash.
const char* ModuleName(const char* source) {
  const char* last = std::strrchr(source, '\\');
  return last != nullptr && last[1] != '\0' ? last + 1 : source;
}

// A message that ends in carriage return and line feed leaves one line end, not two.
void DropDoubledLineEnd(std::string& line) {
  if (line.size() >= 3 && line[line.size() - 3] == '\r') {
    line.replace(line.size() - 3, 3, "\n");
  }
}

std::string WithCarriageReturns(const std::string& line) {
  std::string text;
  text.reserve(line.size() + 2);
  for (const char character : line) {
    if (character == '\n') {
      text += '\r';
    }
    text += character;
  }
  return text;
}

std::string TraceLine(const char* source, int number, std::string_view message) {
  static const int process = platform::ProcessId();
  const platform::LocalTime now = platform::LocalTimeNow();
  std::array<char, kLineWidth + 1> buffer;
  const int shown = static_cast<int>(std::min(message.size(), kShownMessageWidth));
  std::snprintf(buffer.data(), buffer.size(), "KVB:(%d): %02d%02d%02d:%15s:(%4d):: %.*s%.50s\n", process,
                now.hour, now.minute, now.second, ModuleName(source), number, shown, message.data(), "");
  std::string line(buffer.data());
  DropDoubledLineEnd(line);
  return WithCarriageReturns(line);
}

// A file that cannot be written is told once.
bool AppendOrTell(const std::string& path, const std::string& text) {
  static std::set<std::string> told;
  std::string why;
  if (platform::AppendLocked(path, text, &why)) {
    return true;
  }
  if (told.insert(path).second) {
    TellOnStandardError("WARNING: The trace file " + path + " cannot be written: " + why + ".");
  }
  return false;
}

bool WriteWaiting(const std::string& path, std::string& waiting) {
  const bool written = waiting.empty() || AppendOrTell(path, waiting);
  waiting.clear();
  return written;
}

int Append(const std::string& path, std::string& waiting, const std::string& line) {
  if (openBatches == 0) {
    return AppendOrTell(path, line) ? 1 : -1;
  }
  waiting += line;
  return waiting.size() < kMostWaiting || WriteWaiting(path, waiting) ? 1 : -1;
}

std::string TraceFileName(const std::string& base) {
  const BackintParams& run = Params();
  return WithSeparator(run.szSapDataHome) + "saptrace\\" + base + "_" + run.szOracleSid + ".log";
}

void SetName(std::string& field, const std::string& base) {
  field = TraceFileName(base);
  platform::TextFile::StandardError()->Write("Trace file: " + field + "\n");
}

}  // namespace

bool TraceShows(int level) { return Params().nTraceLevel != 0 && level <= Params().nTraceLevel; }

int WriteTrace(const char* source, int line, std::string_view message, int level) {
  if (!TraceShows(level)) {
    return 0;
  }
  return Append(Params().szTraceFile, waitingTrace, TraceLine(source, line, message));
}

int WriteXfrTrace(const char* source, int line, std::string_view message) {
  return Append(Params().szXfrTraceFile, waitingXfrTrace, TraceLine(source, line, message));
}

void TraceFormatted(int level, const char* format, ...) {
  if (!TraceShows(level)) {
    return;
  }
  std::va_list arguments;
  va_start(arguments, format);
  std::string text = FormatArguments(format, arguments);
  va_end(arguments);
  if (text.size() > kTraceFWidth) {
    text.resize(kTraceFWidth);
  }
  WriteTrace("backint_func", __LINE__, text, level);
}

TraceBatch::TraceBatch() { ++openBatches; }

TraceBatch::~TraceBatch() {
  --openBatches;
  try {
    if (openBatches == 0) {
      WriteOut();
    }
  } catch (const std::bad_alloc&) {
    return;  // the lines are lost, the run is not
  }
}

void TraceBatch::WriteOut() {
  WriteWaiting(Params().szXfrTraceFile, waitingXfrTrace);
  WriteWaiting(Params().szTraceFile, waitingTrace);
}

void SetTraceFileName(std::string& field) { SetName(field, field == "backint" ? "backint" : "xfr"); }

void SetComTraceFileName(std::string& field) { SetName(field, "xfr_com"); }

void TraceCommandParameters() {
  constexpr const char* kTraceSource = "backint_func";
  const BackintParams& run = Params();
  TRACE(3, "INFO: Command Parameters::::::");
  TRACE(3, "INFO: \tUser Id: %s", run.szUserId.c_str());
  TRACE(3, "INFO: \tFunction: %s", run.szFunction.c_str());
  TRACE(3, "INFO: \tType: %s", run.szType.c_str());
  TRACE(3, "INFO: \tParameter File: %s", run.szParFile.c_str());
  TRACE(3, "INFO: \tInput File: %s", run.szInFile.c_str());
  TRACE(3, "INFO: \tOutput File: %s", run.szOutFile.c_str());
  if (run.bAttended) {
    TRACE(3, "INFO:        Attended Mode: Attended.");
  } else {
    TRACE(3, "INFO:        Attended Mode: Unattended (no interaction with operator possible).");
  }
}
