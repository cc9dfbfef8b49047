// Text on a console, which has a code page of its own, mostly another one than this program's.
#pragma once

#include <windows.h>

#include <string_view>

namespace platform::internal {

[[nodiscard]] bool IsConsole(HANDLE stream);
// Whole characters, in this program's code page.
[[nodiscard]] bool WriteToConsole(HANDLE console, std::string_view text);

}  // namespace platform::internal
