// Terminals, and the characters of a text.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace platform {

enum class Standard { kOutput, kError };
// How many characters fit into a line of the terminal to which the stream goes; 0 if it goes to no terminal.
[[nodiscard]] std::size_t ColumnsOf(Standard stream);

// Makes the stream's terminal obey escape sequences (ECMA-48), which move the cursor and erase. False if
// there is no terminal, or it does not know them.
[[nodiscard]] bool TakesEscapeSequences(Standard stream);

// Whether this program's text is UTF-8, so that a character may have several bytes. Otherwise each byte is a
// character.
[[nodiscard]] bool TextIsUtf8();
// The text in UTF-8, for formats that know nothing else. On Linux the text counts as UTF-8: it comes back as
// it is, with a replacement character (U+FFFD) for each byte that is part of no character.
[[nodiscard]] std::string ToUtf8(std::string_view text);

// The reverse. On Windows false if the text is not UTF-8, or has characters that this program's text cannot
// have. On Linux the text is not changed.
[[nodiscard]] bool FromUtf8(std::string_view utf8, std::string& text);

}  // namespace platform
