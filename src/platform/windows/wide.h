// Names between this program, which has them in the code page of its system as its caller does, and the
// system, which has more characters than that.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace platform::internal {

// The text as the system's wide calls take it; empty if it is none in the code page.
std::wstring Wide(std::string_view text);

// The text in the code page; none if the page lacks one of its characters. Nothing similar is taken in its
// place.
std::optional<std::string> Narrow(std::wstring_view text);

// The text with a question mark for what the code page lacks: for messages.
std::string Shown(std::wstring_view text);

std::string Utf8(std::wstring_view text);

// The path of a file operation: in the long form if it would be too long for the system's usual one.
std::wstring WidePath(std::string_view path);

}  // namespace platform::internal
