// The trace: the program's only log. One line is one complete cycle of open, lock, write and close, and so
// are the lines of a batch (`TraceBatch`): nothing stays open between them, and several processes can share a
// file.
#pragma once

#include <string>
#include <string_view>

#include "backint/base/format.h"

// Levels: 1 errors and the marks of a run's progress, 2 warnings, 3 details.

// Writes one line to `szTraceFile`. `source` is the module that speaks (of a path only what stands
// behind its last backslash), `line` the line of the call, `message` the finished text, of which 1,500
// characters are shown. Returns 1 when the line was written, 0 when the level filter dropped it, -1 when
// writing failed. No caller looks at the result: the trace never stops a run.
int WriteTrace(const char* source, int line, std::string_view message, int level);

// The same for `szXfrTraceFile`, without level and filter. Returns 1 or -1.
int WriteXfrTrace(const char* source, int line, std::string_view message);

// printf-like, compiler-checked. A format that begins with "%l", a digit and a blank is written at that
// level (above 3 counts as 3), any other at level 3. The text ends after 4,095 characters. Source and line
// are the operation's own.
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

// Whether a message of that level would be written.
bool TraceShows(int level);

// A trace call: formats only when the level passes. `TRACE_AS` names the module that speaks; `TRACE` takes it
// from `kTraceSource`, which the source file defines.
#define TRACE_AS(source, level, ...)                                  \
  do {                                                                \
    if (TraceShows(level)) {                                          \
      WriteTrace((source), __LINE__, FormatText(__VA_ARGS__), level); \
    }                                                                 \
  } while (false)
#define TRACE(level, ...) TRACE_AS(kTraceSource, level, __VA_ARGS__)

// While one lives, lines are gathered; they reach their files some at a time, the last when the outermost
// ends. For lines between which nobody outside can observe anything, such as the comparisons within one line
// of the mover.
class TraceBatch {
 public:
  TraceBatch();
  TraceBatch(const TraceBatch&) = delete;
  TraceBatch& operator=(const TraceBatch&) = delete;
  ~TraceBatch();

  // Writes what was gathered so far; before something that can be observed from outside.
  static void WriteOut();

  // The same; and while one lives, lines are written at once, as if there were no batch around it.
  class Pause {
   public:
    Pause();
    Pause(const Pause&) = delete;
    Pause& operator=(const Pause&) = delete;
    ~Pause();

   private:
    int paused_;  // batches
  };
};

// Turn a bare trace-file name of BackintParams into its path under SAPDATA_HOME and tell it on standard
// error. The directory is not made.
void SetTraceFileName(std::string& field);
void SetComTraceFileName(std::string& field);

// Writes the list of the run's parameters.
void TraceCommandParameters();
