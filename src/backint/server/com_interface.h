// The conversation with the control tool: sessions and jobs on the backup server, and the reading of its
// replies, which inquiries share.
#pragma once

#include <functional>
#include <string>

#include "backint/base/run_records.h"

enum class ComOperation { kOpenSession = 1, kOpenJob = 2, kCloseJob = 4, kCloseSession = 8 };

// One run of the control tool for a session or job. Success or failure, never warnings: what the tool printed
// decides, and a value that must be there after an opening is missing otherwise.
//
// From the first call on an interrupt no longer ends the process at once. A session that opened is to be
// closed once; a job whose opening failed is not closed, even if the server opened it.
RunResult RunComInterface(ComOperation operation);

// Makes szServer its login form: port, user and password behind it, joined by colons. Once in a run.
void AddServerLogin();
// That form, without storing it.
[[nodiscard]] std::string ServerLogin();

// Makes a field of a tool option the text that goes into a command: the switch, a blank, the value, a blank.
// A blank field stays empty. A value that holds the switch's letters anywhere counts as formed and gets the
// blank alone, so this can be repeated from job to job.
void ToSwitchForm(std::string& field, const std::string& switchText);

// Closes the job and the session that are open, as failed; for a run that ends for lack of memory.
void CloseAfterExhaustedMemory() noexcept;

// ---- Reading a reply, for this module and for inquiries ----------------------------------------------

// A command and how it is told in the trace.
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
  kComplete,      // the stream has ended
};

struct ReplyReader {
  // Takes a line behind "reply=OK", without blanks at its ends; false stops the reading.
  std::function<bool(const std::string& line)> takeLine;
  // Called at "reply=ERROR", before the message behind it is told. May be empty.
  std::function<void()> onErrorReply;
};

// Starts the tool, reads its reply and traces both. The stream is closed on every road.
[[nodiscard]] ReplyEnd ReadReply(const ComCall& call, const ReplyReader& reader);
