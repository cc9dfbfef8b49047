#include "backint/backint_util/print.h"

#include <cstdarg>
#include <cstdio>
#include <string>

#include "platform/platform.h"

void Print(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  std::va_list again;
  va_copy(again, arguments);
  const int length = std::vsnprintf(nullptr, 0, format, again);
  va_end(again);
  std::string text(length > 0 ? static_cast<std::size_t>(length) : 0, '\0');
  std::vsnprintf(text.data(), text.size() + 1, format, arguments);
  va_end(arguments);
  PrintText(text);
}

bool PrintText(std::string_view text) {
  const std::unique_ptr<platform::TextFile> output = platform::TextFile::StandardOutput();
  return output != nullptr && output->Write(text) && output->Flush();
}
