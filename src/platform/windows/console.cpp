#include "platform/windows/console.h"

#include <algorithm>

#include "platform/data_file.h"
#include "platform/windows/wide.h"

namespace platform {

bool internal::IsConsole(HANDLE stream) {
  DWORD mode = 0;
  return GetConsoleMode(stream, &mode) != 0;
}

bool internal::WriteToConsole(HANDLE console, std::string_view text) {
  constexpr std::size_t kMostAtOnce = 8192;  // some systems take no more
  const std::wstring wide = Wide(text);
  for (std::size_t begin = 0; begin < wide.size();) {
    const auto size = static_cast<DWORD>(std::min(wide.size() - begin, kMostAtOnce));
    DWORD written = 0;
    if (WriteConsoleW(console, wide.data() + begin, size, &written, nullptr) == 0 || written == 0) {
      return false;
    }
    begin += written;
  }
  // A text that is not valid in the code page is written as it is.
  DWORD count = 0;
  return !wide.empty() || text.empty() ||
         WriteFile(console, text.data(), static_cast<DWORD>(text.size()), &count, nullptr) != 0;
}

bool WriteToStandardError(std::string_view text) {
  const HANDLE error = GetStdHandle(STD_ERROR_HANDLE);
  if (internal::IsConsole(error)) {
    return internal::WriteToConsole(error, text);
  }
  while (!text.empty()) {
    DWORD count = 0;
    if (WriteFile(error, text.data(), static_cast<DWORD>(text.size()), &count, nullptr) == 0 || count == 0) {
      return false;
    }
    text.remove_prefix(count);
  }
  return true;
}

}  // namespace platform
