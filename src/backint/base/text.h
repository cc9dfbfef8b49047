// Small text operations that every module shares. They work in place and never trace or fail.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

// Whether the last character is `character`; an empty text ends in nothing.
[[nodiscard]] bool EndsWithChar(std::string_view text, char character);

// Which ends of a text lose their spaces and tabs.
enum class Trim { kBoth, kEnd };
void TrimBlanks(std::string& text, Trim mode = Trim::kBoth);

// Takes off one line feed or carriage return at the end; of a CR LF pair the line feed only.
void StripNewline(std::string& text);

// Normalises the text (`TrimBlanks`, then `StripNewline`) and tells whether nothing is left. Callers go on
// with the normalised text. Blanks in front of a line feed stay, since they are not at the end.
[[nodiscard]] bool IsEmptyLine(std::string& text);
[[nodiscard]] inline bool IsBlank(std::string text) { return IsEmptyLine(text); }

// Upper-cases each byte by the rules of the "C" locale: bytes above 127 stay.
std::string& ToUpper(std::string& text);
[[nodiscard]] std::string Upper(std::string_view text);

// Reads the value of a `KEY=value` line: what stands behind the first equals sign, without blanks at its
// ends, cut at its first space. False, and `value` untouched, if nothing follows the sign or there is none.
bool GetKeyValue(std::string_view line, std::string& value);

// The number at the start of a text: blanks, a sign, decimal digits. Text that is no number gives 0; what
// does not fit in 32 bits gives the nearest number that does.
[[nodiscard]] std::int32_t ToNumber(std::string_view text);

// Whether the text holds nothing but decimal digits, as an empty one does.
[[nodiscard]] bool IsNumber(std::string_view text);

// The text as one argument of a command line: in double quotes if it holds a blank, a tab or a quote, with
// the quotes inside it, and backslashes in front of a quote, escaped.
[[nodiscard]] std::string QuotedArgument(const std::string& text);
