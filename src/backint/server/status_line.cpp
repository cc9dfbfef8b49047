#include "backint/server/status_line.h"

#include <array>

namespace {

struct StatusText {
  const char* number;
  const char* text;
  int code;
};

constexpr std::array<StatusText, 5> kStatusTexts{{
    {"3007", "Operation successful", kSuccessful},
    {"2032", "Operation successful with warnings", kSuccessfulWithWarnings},
    {"3053", "Operation failed", kOperationFailed},
    {"2002", "Saveset empty", kSavesetEmpty},
    {"2045", "Cannot write to Item", kCannotWrite},
}};

bool Holds(std::string_view line, std::string_view text) { return line.find(text) != std::string_view::npos; }

// A count of exactly 0 in brackets behind the text; a count in front of it does not matter.
bool HasZeroCount(std::string_view line) {
  constexpr std::string_view kText = "Items processed correctly";
  const std::size_t text = line.find(kText);
  if (text == std::string_view::npos || !Holds(line, "-3052")) {
    return false;
  }
  const std::size_t bracket = line.find('[', text + kText.size());
  return bracket != std::string_view::npos && line.substr(bracket + 1, 2) == "0]";
}

}  // namespace

int StatusCode(std::string_view line) {
  for (const StatusText& status : kStatusTexts) {
    if (Holds(line, status.number) && Holds(line, status.text)) {
      return status.code;
    }
  }
  return HasZeroCount(line) ? kNothingProcessed : kNoCode;
}

std::string_view UpToLastBracket(std::string_view line) { return line.substr(0, line.rfind(']')); }

bool IsItemLine(std::string_view line) {
  return Holds(line, "-3108") && Holds(line, "Item processed successfully");
}

std::optional<std::string> ReportedPath(std::string_view line) {
  if (!Holds(line, "]")) {
    return std::nullopt;
  }
  const std::string_view cut = UpToLastBracket(line);
  const std::size_t bracket = cut.find('[');
  if (bracket == std::string_view::npos) {
    return std::nullopt;
  }
  return std::string(cut.substr(bracket + 1));
}
