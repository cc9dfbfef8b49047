// What a console event does (apart from its registration, so that a test can call it), and waits that an
// interrupt ends in time.
#pragma once

namespace platform::internal {

// Whether the event, one of the system's CTRL_ numbers, is meant for this process: a service gets the log-off
// of every user.
bool ConcernsProcess(unsigned long event, bool isService);

// False if this is the second interrupt: the process must end.
bool HandleConsoleEvent(unsigned long event);

// While such an object lives, this thread reads the pipe of a tool, or writes a pipe (`kNoTool`). This ends
// as soon as an interrupt leaves no more time for the tool, or for a reader that has taken nothing since
// NoteProgress.
class PipeWait {
 public:
  explicit PipeWait(int tool);
  PipeWait(const PipeWait&) = delete;
  PipeWait& operator=(const PipeWait&) = delete;
  ~PipeWait();
};
void NoteProgress();

}  // namespace platform::internal
