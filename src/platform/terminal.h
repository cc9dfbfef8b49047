// What people look at, and how text is made of characters.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace platform {

enum class Standard { kOutput, kError };
// How many characters a line of the terminal has that the stream goes to; 0 if it goes to no terminal.
[[nodiscard]] std::size_t ColumnsOf(Standard stream);

// Makes the terminal that the stream goes to obey escape sequences (ECMA-48), which move the cursor and
// erase. False if there is none, or it knows none.
[[nodiscard]] bool TakesEscapeSequences(Standard stream);

// Whether this program's text is UTF-8, so that a character may have several bytes; otherwise each byte is
// one.
[[nodiscard]] bool TextIsUtf8();
// The text in UTF-8, for formats that know nothing else. Where this program's text is UTF-8 it comes back as
// it is, with a replacement character (U+FFFD) for each byte that is part of none.
[[nodiscard]] std::string ToUtf8(std::string_view text);

// The other way round; false if the text is no UTF-8, or has characters that this program's text lacks.
[[nodiscard]] bool FromUtf8(std::string_view utf8, std::string& text);

}  // namespace platform
