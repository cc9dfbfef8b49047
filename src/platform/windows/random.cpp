#include "platform/random.h"

#include <windows.h>
// Behind windows.h, whose types it needs.
#include <ntsecapi.h>

#include <cstdlib>

namespace platform {

void RandomBytes(void* bytes, std::size_t size) {
  if (RtlGenRandom(bytes, static_cast<ULONG>(size)) == FALSE) {
    std::abort();
  }
}

}  // namespace platform
