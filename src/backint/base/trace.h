// The trace: the program's only log. For each line the file is opened, locked, written and closed again, and
// likewise for the lines of a batch (`TraceBatch`). Nothing stays open in between, so several processes can
// share a file.
#pragma once

#include <string>
#include <string_view>

#include "backint/base/format.h"

// Levels: 0 always (if the trace is on), 1 errors and the progress of a run, 2 warnings, 3 details.

// Writes one line to `szTraceFile`. `source` is the module that writes (of a path only the part after its
// last backslash is shown), `line` the source line of the call, `message` the finished text, of which 1,500
// characters are shown. Returns 1 if the line was written or waits in a batch, 0 if its level is not shown,
// -1 if writing failed. No caller checks the result: the trace never stops a run.
int WriteTrace(const char* source, int line, std::string_view message, int level);

// The same for `szXfrTraceFile`, whatever the trace level. Returns 1 or -1.
int WriteXfrTrace(const char* source, int line, std::string_view message);

// Takes a format as printf does, which the compiler checks. A format that begins with "%l", a digit and a
// blank is written at this level (above 3 counts as 3), any other at level 3. The text is cut after 4,095
// characters. Source and line are those of this function, not of its caller.
#define TraceF(format, ...) \
  TraceFormatted(TraceFLevel(format), (format) + TraceFSkip(format) __VA_OPT__(, ) __VA_ARGS__)

__attribute__((format(printf, 2, 3))) void TraceFormatted(int level, const char* format, ...);
constexpr bool TraceFMarked(const char* format) {
  return format[0] == '%' && format[1] == 'l' && format[2] >= '0' && format[2] <= '9' && format[3] == ' ';
}
constexpr int TraceFLevel(const char* format) {
  return !TraceFMarked(format) || format[2] > '3' ? 3 : format[2] - '0';
}
constexpr int TraceFSkip(const char* format) { return TraceFMarked(format) ? 4 : 0; }

// Whether a message of this level would be written.
bool TraceShows(int level);

// Errors have level 1, warnings level 2, everything else 1 to 3.
constexpr bool TraceLevelFits(int level, std::string_view format) {
  const int lowest = format.starts_with("WARNING") ? 2 : 1;
  const int highest = format.starts_with("ERROR") ? 1 : format.starts_with("WARNING") ? 2 : 3;
  return level >= lowest && level <= highest;
}

// A trace call. It formats the text only if the level is shown. `TRACE_AS` names the module that writes;
// `TRACE` takes it from `kTraceSource`, which the source file defines.
#define TRACE_AS(source, level, ...)                                  \
  do {                                                                \
    static_assert(TraceLevelFits(level, TRACE_FORMAT(__VA_ARGS__)));  \
    if (TraceShows(level)) {                                          \
      WriteTrace((source), __LINE__, FormatText(__VA_ARGS__), level); \
    }                                                                 \
  } while (false)
#define TRACE_FORMAT(format, ...) format
#define TRACE(level, ...) TRACE_AS(kTraceSource, level, __VA_ARGS__)

// While such an object lives, trace lines are gathered and written several at a time, the last ones when the
// outermost object ends. For lines between which nobody outside can observe anything, such as the comparisons
// for one line of the mover.
class TraceBatch {
 public:
  TraceBatch();
  TraceBatch(const TraceBatch&) = delete;
  TraceBatch& operator=(const TraceBatch&) = delete;
  ~TraceBatch();

  // Writes what was gathered so far. To be called before something that can be observed from outside.
  static void WriteOut();

  // Writes what was gathered so far. While such an object lives, each line is written at once, as if there
  // were no batch.
  class Pause {
   public:
    Pause();
    Pause(const Pause&) = delete;
    Pause& operator=(const Pause&) = delete;
    ~Pause();

   private:
    int paused_;  // how many batches were open
  };
};

// Turn the bare name of a trace file in BackintParams into its path in `saptrace` under SAPDATA_HOME, and
// write the path to standard error. The second does not look at the field. The directory is not created.
void SetTraceFileName(std::string& field);
void SetComTraceFileName(std::string& field);

// Traces the run's parameters.
void TraceCommandParameters();
