// Small text operations that all modules share. None of them traces.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

// Whether the last character is `character`; false for an empty text.
[[nodiscard]] bool EndsWithChar(std::string_view text, char character);

// Removes spaces and tabs, at both ends of the text or only at its end.
enum class Trim { kBoth, kEnd };
void TrimBlanks(std::string& text, Trim mode = Trim::kBoth);

// Removes one line feed or carriage return at the end. Of a CR LF pair only the line feed is removed.
void StripNewline(std::string& text);

// Normalises the text in place (`TrimBlanks`, then `StripNewline`) and tells whether it is empty then.
// Callers go on with the normalised text. Blanks before a line feed stay, because they are not at the end.
[[nodiscard]] bool IsEmptyLine(std::string& text);
[[nodiscard]] inline bool IsBlank(std::string text) { return IsEmptyLine(text); }

// Upper-cases each byte by the rules of the "C" locale: bytes above 127 stay.
std::string& ToUpper(std::string& text);
[[nodiscard]] std::string Upper(std::string_view text);

// Reads the value of a `KEY=value` line: the text after the first equals sign, without blanks at its ends, up
// to its first space. False if there is no equals sign or nothing after it; `value` is then unchanged.
bool GetKeyValue(std::string_view line, std::string& value);

// The number at the start of a text: white space, a sign, decimal digits. 0 if there is none. A number that
// does not fit into 32 bits gives the nearest one that does.
[[nodiscard]] std::int32_t ToNumber(std::string_view text);

// Whether the text contains nothing but decimal digits; true for an empty text.
[[nodiscard]] bool IsNumber(std::string_view text);

// The text as one argument of a command line. If it contains a space, a tab or a double quote, it is put in
// double quotes; the quotes inside it, and backslashes before a quote, are then escaped.
[[nodiscard]] std::string QuotedArgument(const std::string& text);
