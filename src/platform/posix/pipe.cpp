#include <unistd.h>

#include <cerrno>

#include "platform/internal.h"

namespace platform::internal {

std::size_t ReadPipe(std::intptr_t handle, char* buffer, std::size_t size) {
  ssize_t got = 0;
  do {
    got = read(static_cast<int>(handle), buffer, size);
  } while (got < 0 && errno == EINTR && !MoverWasKilled());
  return got > 0 ? static_cast<std::size_t>(got) : 0;
}

void ClosePipe(std::intptr_t handle) { close(static_cast<int>(handle)); }

}  // namespace platform::internal
