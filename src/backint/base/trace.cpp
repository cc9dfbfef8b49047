#include "backint/base/trace.h"

#include <algorithm>
#include <cstdarg>
#include <cstring>
#include <new>
#include <set>

#include "backint/base/path.h"
#include "backint/base/print.h"
#include "backint/base/run_records.h"
#include "backint/base/text.h"
#include "platform/platform.h"

namespace {

constexpr std::size_t kSourceWidth = 15;
constexpr std::size_t kTraceFWidth = 4095;

// Lines that wait until the outermost batch ends, or until one of the two files has this many bytes waiting.
constexpr std::size_t kMostWaiting = 65536;
int openBatches = 0;
std::string waitingTrace;
std::string waitingXfrTrace;

// The name of a module: of a path only the part after its last backslash.
const char* ModuleName(const char* source) {
  const char* last = std::strrchr(source, '\\');
  return last != nullptr && last[1] != '\0' ? last + 1 : source;
}

// Appends the text at the right end of a column. A text that does not fit is not cut.
void AppendColumn(std::string& line, std::string_view text, std::size_t width, char fill = ' ') {
  line.append(width - std::min(width, text.size()), fill).append(text);
}

void AppendTime(std::string& line, const platform::LocalTime& time) {
  for (const int part : {time.hour, time.minute, time.second}) {
    AppendColumn(line, std::to_string(part), 2, '0');
  }
}

// A message ends at a zero byte.
std::string_view ShownPart(std::string_view message) {
  message = message.substr(0, kShownMessageWidth);
  return message.substr(0, message.find('\0'));
}

// Appends the message with line ends of CR LF, and one at its end. A message that ends in CR LF gets no
// second one.
void AppendMessage(std::string& line, std::string_view message) {
  if (message.size() >= 2 && message[message.size() - 2] == '\r') {
    message.remove_suffix(2);
  }
  for (std::size_t end = message.find('\n'); end != std::string_view::npos; end = message.find('\n')) {
    line.append(message.substr(0, end)).append("\r\n");
    message.remove_prefix(end + 1);
  }
  line.append(message).append("\r\n");
}

// Appends the whole line or, if there is no memory for it, nothing.
void AppendLine(std::string& lines, const char* source, int number, std::string_view message) {
  static const std::string begin = "KVB:(" + std::to_string(platform::ProcessId()) + "): ";
  const std::string_view module = ModuleName(source);
  message = ShownPart(message);
  constexpr std::size_t kNumbers = 32;
  const std::size_t most =
      begin.size() + std::max(module.size(), kSourceWidth) + kNumbers + 2 * message.size();
  lines.reserve(lines.size() + most);
  lines += begin;
  AppendTime(lines, platform::LocalTimeNow());
  lines += ':';
  AppendColumn(lines, module, kSourceWidth);
  lines += ":(";
  AppendColumn(lines, std::to_string(number), 4);
  lines += "):: ";
  AppendMessage(lines, message);
}

// Reports a file that cannot be written, but only once.
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

int Append(const std::string& path, std::string& waiting, const char* source, int number,
           std::string_view message) {
  AppendLine(waiting, source, number, message);
  const bool waits = openBatches > 0 && waiting.size() < kMostWaiting;
  return waits || WriteWaiting(path, waiting) ? 1 : -1;
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
  return Append(Params().szTraceFile, waitingTrace, source, line, message);
}

int WriteXfrTrace(const char* source, int line, std::string_view message) {
  return Append(Params().szXfrTraceFile, waitingXfrTrace, source, line, message);
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

TraceBatch::Pause::Pause() : paused_(openBatches) {
  WriteOut();
  openBatches = 0;
}

TraceBatch::Pause::~Pause() { openBatches = paused_; }

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
