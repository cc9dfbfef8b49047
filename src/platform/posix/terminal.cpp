#include "platform/terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>

#include "platform/data_file.h"

namespace platform {
namespace {

constexpr std::size_t kUsualColumns = 80;

// Of the variables that tell the character set, the first one that is set counts.
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

// The length of the first character in UTF-8 (RFC 3629), in bytes; 0 if the first byte begins none.
std::size_t LengthOfCharacter(std::string_view text) {
  const auto byte = [&text](std::size_t i) {
    return static_cast<unsigned char>(i < text.size() ? text[i] : 0);
  };
  const unsigned char first = byte(0);
  if (first < 0x80) {
    return 1;
  }
  const std::size_t length = first >= 0xF0 && first <= 0xF4   ? 4
                             : first >= 0xE0 && first <= 0xEF ? 3
                             : first >= 0xC2 && first <= 0xDF ? 2
                                                              : 0;
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0) != 0x80) {
      return 0;
    }
  }
  // Longer than necessary, half of a surrogate pair, or above the last character.
  const unsigned char second = byte(1);
  const bool wrong = (first == 0xE0 && second < 0xA0) || (first == 0xED && second > 0x9F) ||
                     (first == 0xF0 && second < 0x90) || (first == 0xF4 && second > 0x8F);
  return wrong ? 0 : length;
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

std::string ToUtf8(std::string_view text) {
  std::string utf8;
  while (!text.empty()) {
    const std::size_t length = LengthOfCharacter(text);
    utf8 += length == 0 ? "\xEF\xBF\xBD" : text.substr(0, length);
    text.remove_prefix(std::max<std::size_t>(length, 1));
  }
  return utf8;
}

bool FromUtf8(std::string_view utf8, std::string& text) {
  text = utf8;
  return true;
}

}  // namespace platform
