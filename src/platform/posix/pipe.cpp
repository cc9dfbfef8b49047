#include <unistd.h>

#include <cerrno>

#include "platform/internal.h"
#include "platform/posix/interrupts.h"

namespace platform::internal {

std::size_t ReadPipe(std::intptr_t handle, char* buffer, std::size_t size, int tool, bool& failed) {
  const int descriptor = static_cast<int>(handle);
  ssize_t got = 0;
  do {
    // What comes after the time is over is not read.
    if (MillisecondsLeft(tool) == 0 || !WaitUntilReadable(descriptor, tool)) {
      KillTool(tool);
      return 0;
    }
    got = read(descriptor, buffer, size);
  } while (got < 0 && errno == EINTR);
  failed = got < 0;
  return got > 0 ? static_cast<std::size_t>(got) : 0;
}

void ClosePipe(std::intptr_t handle) { close(static_cast<int>(handle)); }

}  // namespace platform::internal
