#include <windows.h>

#include "platform/internal.h"
#include "platform/windows/interrupts.h"

namespace platform::internal {

std::size_t ReadPipe(std::intptr_t handle, char* buffer, std::size_t size, int tool, bool& failed) {
  const PipeWait wait(tool);
  DWORD got = 0;
  // A write of no bytes also ends a read of the pipe, without ending the pipe.
  while (MillisecondsLeft(tool) != 0 &&
         ReadFile(reinterpret_cast<HANDLE>(handle), buffer, static_cast<DWORD>(size), &got, nullptr) != 0) {
    if (got > 0) {
      return got;
    }
  }
  const DWORD error = GetLastError();
  failed = MillisecondsLeft(tool) != 0 && error != ERROR_BROKEN_PIPE && error != ERROR_HANDLE_EOF;
  if (MillisecondsLeft(tool) == 0) {
    KillTool(tool);
  }
  return 0;
}

void ClosePipe(std::intptr_t handle) { CloseHandle(reinterpret_cast<HANDLE>(handle)); }

}  // namespace platform::internal
