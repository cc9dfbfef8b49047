#include "platform/random.h"

#include <sys/random.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>

namespace platform {

void RandomBytes(void* bytes, std::size_t size) {
  std::size_t done = 0;
  while (done < size) {
    const ssize_t count = getrandom(static_cast<char*>(bytes) + done, size - done, 0);
    if (count < 0 && errno != EINTR) {
      std::abort();
    }
    done += static_cast<std::size_t>(std::max<ssize_t>(count, 0));
  }
}

}  // namespace platform
