#include "backint/base/tokens.h"

std::vector<std::string> SplitTokens(const std::string& line) {
  std::vector<std::string> tokens;
  std::size_t end = 0;
  for (std::size_t start = line.find_first_not_of(' '); start != std::string::npos;
       start = line.find_first_not_of(' ', end)) {
    const bool keepsBlank = start > end + 1;
    end = line.find(' ', start);
    tokens.push_back((keepsBlank ? " " : "") + line.substr(start, end - start));
    if (end == std::string::npos) {
      break;
    }
  }
  return tokens;
}
