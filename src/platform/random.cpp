#include "platform/random.h"

#include <cstdlib>

#include "platform/internal.h"

namespace platform {

void RandomBytes(void* bytes, std::size_t size) {
  if (!internal::RandomBytes(bytes, size)) {
    std::abort();
  }
}

}  // namespace platform
