// Converts names between this program, which has them in the code page of the system, as its caller does, and
// the system, which has more characters.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace platform::internal {

// The text for the wide calls of the system; empty if it is not valid in the code page.
std::wstring Wide(std::string_view text);

// The text in the code page; nothing if one of its characters is not there. No similar character takes its
// place.
std::optional<std::string> Narrow(std::wstring_view text);

// The text for messages, with a question mark for each character that the code page lacks.
std::string Shown(std::wstring_view text);

std::string Utf8(std::wstring_view text);

// The path for a file operation: in the long form if it is too long for the system's usual one.
std::wstring WidePath(std::string_view path);

}  // namespace platform::internal
