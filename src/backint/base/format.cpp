#include "backint/base/format.h"

#include <array>
#include <cstdio>

std::string FormatArguments(const char* format, std::va_list arguments) {
  std::array<char, 512> usual;
  std::va_list again;
  va_copy(again, arguments);
  const int printed = std::vsnprintf(usual.data(), usual.size(), format, again);
  va_end(again);
  const std::size_t length = printed > 0 ? static_cast<std::size_t>(printed) : 0;
  if (length < usual.size()) {
    return {usual.data(), length};
  }
  std::string text(length, '\0');
  std::vsnprintf(text.data(), length + 1, format, arguments);
  return text;
}

std::string FormatText(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  std::string text = FormatArguments(format, arguments);
  va_end(arguments);
  return text;
}
