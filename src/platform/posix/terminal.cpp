#include "platform/terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>

#include "platform/data_file.h"

namespace platform {
namespace {

constexpr std::size_t kUsualColumns = 80;

// Of the variables that say which characters there are, the first one that is set counts.
std::string Characters() {
  std::string value;
  for (const char* name : {"LC_ALL", "LC_CTYPE", "LANG"}) {
    if (EnvironmentVariable(name, value)) {
      break;
    }
  }
  std::transform(value.begin(), value.end(), value.begin(),
                 [](unsigned char letter) { return static_cast<char>(std::toupper(letter)); });
  return value;
}

}  // namespace

std::size_t ColumnsOf(Standard stream) {
  const int descriptor = stream == Standard::kOutput ? STDOUT_FILENO : STDERR_FILENO;
  if (isatty(descriptor) == 0) {
    return 0;
  }
  struct winsize size = {};
  return ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : kUsualColumns;
}

bool TakesEscapeSequences(Standard stream) {
  std::string kind;
  return ColumnsOf(stream) > 0 && EnvironmentVariable("TERM", kind) && kind != "dumb";
}

bool TextIsUtf8() {
  static const std::string characters = Characters();
  return characters.find("UTF-8") != std::string::npos || characters.find("UTF8") != std::string::npos;
}

std::string ToUtf8(std::string_view text) { return std::string(text); }

}  // namespace platform
