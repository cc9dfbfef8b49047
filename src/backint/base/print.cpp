#include "backint/base/print.h"

#include <cstdarg>

#include "backint/base/format.h"
#include "platform/platform.h"

void Print(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  PrintText(FormatArguments(format, arguments));
  va_end(arguments);
}

bool PrintText(std::string_view text) {
  const std::unique_ptr<platform::TextFile> output = platform::TextFile::StandardOutput();
  return output != nullptr && output->Write(text) && output->Flush();
}

void TellOnStandardError(const std::string& sentence) {
  static std::string last;
  if (sentence != last) {
    platform::TextFile::StandardError()->Write(sentence + "\n");
    last = sentence;
  }
}
