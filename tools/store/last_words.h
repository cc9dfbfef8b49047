// How a tool ends after a failure that nobody foresaw, such as exhausted memory.
#pragma once

namespace store {

// From here on an exception that nobody catches, in any thread, ends the process with this exit status and
// one line on standard error, `prefix` and the reason, instead of a signal. Nothing else is written, and no
// destructor runs; the repository is left as by a tool that was killed. `prefix` must stay valid.
void SetLastWords(const char* prefix, int exitStatus);
// The same for a tool that answers on standard output: `answer` gets the reason first, and must not throw.
void SetLastWords(const char* prefix, int exitStatus, void (*answer)(const char* reason));

}  // namespace store
