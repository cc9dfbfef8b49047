// What a console event does, apart from its registration so that a test can call it; and waiting in a way
// that an interrupt ends in time.
#pragma once

namespace platform::internal {

// Whether the event, one of the system's CTRL_ numbers, is meant for this process: a service hears of the
// log-off of every user.
bool ConcernsProcess(unsigned long event, bool isService);

// False if it is the second one: the process shall end.
bool HandleConsoleEvent(unsigned long event);

// While this lives, this thread reads a tool's pipe, or writes one (`kNoTool`): that ends as soon as an
// interrupt leaves no more time for the tool, or for a reader that has taken nothing since NoteProgress.
class PipeWait {
 public:
  explicit PipeWait(int tool);
  PipeWait(const PipeWait&) = delete;
  PipeWait& operator=(const PipeWait&) = delete;
  ~PipeWait();
};
void NoteProgress();

}  // namespace platform::internal
