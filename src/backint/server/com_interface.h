// Talks to the control tool: opens and closes sessions and jobs on the backup server, and reads the tool's
// replies (for inquiries too).
#pragma once

#include <functional>
#include <string>

#include "backint/base/run_records.h"

// The name under which this program introduces itself to the server.
inline constexpr const char* kClientName = "sapr3";

// Each of these functions runs the control tool once. The result is success or failure, never warnings. It
// depends on what the tool printed; an opening also fails if its reply lacks a value that it must have.
//
// From the first call on, an interrupt no longer ends the process at once. A session that was opened must be
// closed once. A job whose opening failed is not closed, even if the server has opened it. `result` is the
// result of the job or session that the server is told.
RunResult OpenSession();
RunResult OpenJob();
RunResult CloseJob(RunResult result);
RunResult CloseSession(RunResult result);

// The text of an option in a tool's command: the option, a blank, the value, a blank. A blank value gives an
// empty text. If the value contains the option's letters anywhere, the option is left out.
[[nodiscard]] std::string OptionText(const std::string& option, std::string value);

// For a run that ends for lack of memory: closes the job and the session that are open, as failed.
void CloseAfterExhaustedMemory() noexcept;

// ---- Reading a reply, for this module and for inquiries ----------------------------------------------

// A command, and what the trace says about it.
struct ComCall {
  std::string command;     // what is started
  std::string errorFile;   // gets the tool's standard error; empty: that goes to our own
  const char* source;      // the module that the trace names
  const char* notStarted;  // level 1 message if the tool cannot be started
};

enum class ReplyEnd {
  kTooLong,       // the command is too long; nothing was started
  kNotStarted,    // the tool cannot be started
  kErrorReply,    // "reply=ERROR"
  kUnrecognized,  // the first line begins with neither "reply=OK" nor "reply=ERROR"
  kStopped,       // `takeLine` returned false
  kBrokenOff,     // reading the stream failed
  kComplete,      // the stream has ended
};

struct ReplyReader {
  // Gets each line after "reply=OK", without blanks at its ends. False stops the reading.
  std::function<bool(const std::string& line)> takeLine;
  // Called at "reply=ERROR", before the message that follows it is traced. May be empty.
  std::function<void()> onErrorReply;
  // Called when the tool has been started. May be empty.
  std::function<void()> onStarted;
};

// Starts the tool, reads its reply and traces both. Returns only after the tool has closed its output, so the
// next tool does not start earlier. What the tool prints after a line that settles the call is dropped.
[[nodiscard]] ReplyEnd ReadReply(const ComCall& call, const ReplyReader& reader);
