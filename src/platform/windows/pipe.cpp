#include <windows.h>

#include "platform/internal.h"

namespace platform::internal {

std::size_t ReadPipe(std::intptr_t handle, char* buffer, std::size_t size) {
  DWORD got = 0;
  // A write of no bytes ends a read of a pipe too, without ending the pipe.
  while (ReadFile(reinterpret_cast<HANDLE>(handle), buffer, static_cast<DWORD>(size), &got, nullptr) != 0) {
    if (got > 0) {
      return got;
    }
  }
  return 0;
}

void ClosePipe(std::intptr_t handle) { CloseHandle(reinterpret_cast<HANDLE>(handle)); }

}  // namespace platform::internal
