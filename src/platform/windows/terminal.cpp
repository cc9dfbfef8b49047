#include "platform/terminal.h"

#include <windows.h>

#include "platform/windows/wide.h"

namespace platform {

std::size_t ColumnsOf(Standard stream) {
  CONSOLE_SCREEN_BUFFER_INFO info = {};
  const HANDLE handle = GetStdHandle(stream == Standard::kOutput ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE);
  if (GetConsoleScreenBufferInfo(handle, &info) == 0) {
    return 0;
  }
  // A character in the last column would begin a new line on some consoles.
  const int columns = info.srWindow.Right - info.srWindow.Left;
  return columns > 0 ? static_cast<std::size_t>(columns) : 0;
}

bool TakesEscapeSequences(Standard stream) {
  constexpr DWORD kProcessSequences = 0x0004;
  const HANDLE handle = GetStdHandle(stream == Standard::kOutput ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE);
  DWORD mode = 0;
  return GetConsoleMode(handle, &mode) != 0 && SetConsoleMode(handle, mode | kProcessSequences) != 0;
}

bool TextIsUtf8() { return GetACP() == CP_UTF8; }

std::string ToUtf8(std::string_view text) {
  const std::wstring wide = internal::Wide(text);
  return wide.empty() ? std::string(text) : internal::Utf8(wide);
}

}  // namespace platform
