// Text on a console, which has a code page of its own, usually not that of this program.
#pragma once

#include <windows.h>

#include <string_view>

namespace platform::internal {

[[nodiscard]] bool IsConsole(HANDLE stream);
// Writes whole characters that are in this program's code page.
[[nodiscard]] bool WriteToConsole(HANDLE console, std::string_view text);

}  // namespace platform::internal
