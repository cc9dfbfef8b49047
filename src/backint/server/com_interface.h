// The conversation with the control tool: sessions and jobs on the backup server, and the reading of its
// replies, which inquiries share.
#pragma once

#include <functional>
#include <string>

#include "backint/base/run_records.h"

// As whom this program introduces itself to the server.
inline constexpr const char* kClientName = "sapr3";

// One run of the control tool each. Success or failure, never warnings: what the tool printed decides, and a
// value that must be there after an opening is missing otherwise.
//
// From the first call on an interrupt no longer ends the process at once. A session that opened is to be
// closed once; a job whose opening failed is not closed, even if the server opened it. `result` is what the
// server hears of the job or the session.
RunResult OpenSession();
RunResult OpenJob();
RunResult CloseJob(RunResult result);
RunResult CloseSession(RunResult result);

// What stands in a command for an option of a tool: the option, a blank, the value, a blank. A blank value
// gives nothing; one that holds the option's letters anywhere stands without them in front.
[[nodiscard]] std::string OptionText(const std::string& option, std::string value);

// Closes the job and the session that are open, as failed; for a run that ends for lack of memory.
void CloseAfterExhaustedMemory() noexcept;

// ---- Reading a reply, for this module and for inquiries ----------------------------------------------

// A command and how the trace tells it.
struct ComCall {
  std::string command;     // what is started
  std::string errorFile;   // receives the tool's standard error; empty: it goes where ours goes
  const char* source;      // the module that speaks
  const char* notStarted;  // level 1 message if the tool cannot be started
};

enum class ReplyEnd {
  kTooLong,       // the command does not fit; nothing was started
  kNotStarted,    // the tool cannot be started
  kErrorReply,    // "reply=ERROR"
  kUnrecognized,  // the first line is no status line
  kStopped,       // `takeLine` gave false
  kBrokenOff,     // the stream cannot be read any further
  kComplete,      // the stream has ended
};

struct ReplyReader {
  // Takes a line behind "reply=OK", without blanks at its ends; false stops the reading.
  std::function<bool(const std::string& line)> takeLine;
  // Called at "reply=ERROR", before the message behind it is told. May be empty.
  std::function<void()> onErrorReply;
  // Called once the tool runs. May be empty.
  std::function<void()> onStarted;
};

// Starts the tool, reads its reply and traces both. The next tool does not start before this one has closed
// its output: what it still prints behind a line that settles the call is dropped.
[[nodiscard]] ReplyEnd ReadReply(const ComCall& call, const ReplyReader& reader);
