#include "platform/terminal.h"

#include <windows.h>

#include <optional>

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

bool FromUtf8(std::string_view utf8, std::string& text) {
  const int size = static_cast<int>(utf8.size());
  const int length = MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, utf8.data(), size, nullptr, 0);
  std::wstring wide(static_cast<std::size_t>(length), L'\0');
  const std::optional<std::string> narrow =
      MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, utf8.data(), size, wide.data(), length) == length
          ? internal::Narrow(wide)
          : std::nullopt;
  text = narrow.value_or("");
  return narrow.has_value() && (length > 0 || utf8.empty());
}

}  // namespace platform
