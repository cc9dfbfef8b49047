// How a tool ends over something that nobody foresaw, as memory that is exhausted.
#pragma once

namespace store {

// From here on an exception that nobody catches, in whichever thread, ends the process with this exit status
// and one line on standard error, instead of a signal: `prefix` and the reason. Nothing else is written, and
// no destructor runs; the repository is left as by a tool that was killed. `prefix` must stay.
void SetLastWords(const char* prefix, int exitStatus);
// The same for a tool whose answer is on standard output: `answer` gets the reason first, and may not throw.
void SetLastWords(const char* prefix, int exitStatus, void (*answer)(const char* reason));

}  // namespace store
