#include "backint/base/text.h"

#include <algorithm>
#include <limits>

namespace {

constexpr std::string_view kBlanks = " \t";
constexpr std::string_view kWhiteSpace = " \t\n\v\f\r";

bool IsDigit(char character) { return character >= '0' && character <= '9'; }

}  // namespace

bool EndsWithChar(std::string_view text, char character) { return !text.empty() && text.back() == character; }

void TrimBlanks(std::string& text, Trim mode) {
  text.erase(text.find_last_not_of(kBlanks) + 1);
  if (mode != Trim::kEnd) {
    text.erase(0, std::min(text.find_first_not_of(kBlanks), text.size()));
  }
}

void StripNewline(std::string& text) {
  if (EndsWithChar(text, '\n') || EndsWithChar(text, '\r')) {
    text.pop_back();
  }
}

bool IsEmptyLine(std::string& text) {
  TrimBlanks(text);
  StripNewline(text);
  return text.empty();
}

std::string& ToUpper(std::string& text) {
  for (char& character : text) {
    character = static_cast<char>(character >= 'a' && character <= 'z' ? character - 'a' + 'A' : character);
  }
  return text;
}

std::string Upper(std::string_view text) {
  std::string upper(text);
  return ToUpper(upper);
}

bool GetKeyValue(std::string_view line, std::string& value) {
  const std::size_t equals = line.find('=');
  if (equals == std::string_view::npos || equals + 1 == line.size()) {
    return false;
  }
  value = line.substr(equals + 1);
  TrimBlanks(value);
  value.erase(std::min(value.find(' '), value.size()));
  return true;
}

std::int32_t ToNumber(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(kWhiteSpace), text.size()));
  const bool negative = !text.empty() && text.front() == '-';
  if (negative || (!text.empty() && text.front() == '+')) {
    text.remove_prefix(1);
  }
  constexpr std::int64_t kBeyond = std::int64_t{std::numeric_limits<std::int32_t>::max()} + 1;
  std::int64_t number = 0;
  for (std::size_t i = 0; i < text.size() && IsDigit(text[i]); ++i) {
    number = std::min(number * 10 + (text[i] - '0'), kBeyond);
  }
  return static_cast<std::int32_t>(negative ? -number : std::min(number, kBeyond - 1));
}

bool IsNumber(std::string_view text) { return std::all_of(text.begin(), text.end(), IsDigit); }

std::string QuotedArgument(const std::string& text) {
  if (text.find_first_of(" \t\"") == std::string::npos) {
    return text;
  }
  std::string quoted = "\"";
  std::size_t backslashes = 0;
  for (const char character : text) {
    if (character == '"') {
      quoted.append(backslashes + 1, '\\');
    }
    backslashes = character == '\\' ? backslashes + 1 : 0;
    quoted += character;
  }
  return quoted.append(backslashes, '\\') + "\"";
}
