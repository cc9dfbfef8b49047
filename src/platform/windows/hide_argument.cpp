#include <windows.h>

#include <algorithm>
#include <cstring>
#include <string>

#include "platform/platform.h"

namespace platform {
namespace {

// The system keeps the command line as one text, in which quotes are still escaped. A text that contains
// quotes is therefore not found.
template <typename Character>
void HideIn(Character* line, const std::basic_string<Character>& text) {
  Character* const end = line + std::char_traits<Character>::length(line);
  for (Character* found = std::search(line, end, text.begin(), text.end()); !text.empty() && found != end;
       found = std::search(found, end, text.begin(), text.end())) {
    std::fill_n(found, text.size(), static_cast<Character>('*'));
  }
}

}  // namespace

void HideArgument(char* text) {
  const std::string narrow = text;
  if (narrow.empty() || narrow.find_first_not_of('*') == std::string::npos) {
    return;
  }
  std::wstring wide(narrow.size(), L'\0');
  const int length = MultiByteToWideChar(CP_ACP, 0, narrow.data(), static_cast<int>(narrow.size()),
                                         wide.data(), static_cast<int>(wide.size()));
  wide.resize(static_cast<std::size_t>(std::max(length, 0)));
  HideIn(GetCommandLineW(), wide);
  HideIn(GetCommandLineA(), narrow);
  std::memset(text, '*', narrow.size());
}

}  // namespace platform
