#include "backint/server/status_line.h"

#include <array>

#include "backint/base/mover_words.h"

namespace {

struct StatusText {
  MoverWords words;
  int code;
};

constexpr std::array<StatusText, 5> kStatusTexts{{
    {kSaysSuccessful, kSuccessful},
    {kSaysWarnings, kSuccessfulWithWarnings},
    {kSaysFailed, kOperationFailed},
    {kSaysEmpty, kSavesetEmpty},
    {kSaysCannotWrite, kCannotWrite},
}};

// Whether a count of exactly 0 in brackets follows the text; a count before the text does not matter.
bool HasZeroCount(std::string_view line) {
  if (!kSaysProcessed.AreIn(line)) {
    return false;
  }
  const std::string_view text = kSaysProcessed.text;
  const std::size_t bracket = line.find('[', line.find(text) + text.size());
  return bracket != std::string_view::npos && line.substr(bracket + 1, 2) == "0]";
}

}  // namespace

int StatusCode(std::string_view line) {
  for (const StatusText& status : kStatusTexts) {
    if (status.words.AreIn(line)) {
      return status.code;
    }
  }
  return HasZeroCount(line) ? kNothingProcessed : kNoCode;
}

std::string_view UpToLastBracket(std::string_view line) { return line.substr(0, line.rfind(']')); }

bool IsItemLine(std::string_view line) { return kSaysItemDone.AreIn(line); }

std::optional<std::string> ReportedPath(std::string_view line) {
  if (line.find(']') == std::string_view::npos) {
    return std::nullopt;
  }
  const std::string_view cut = UpToLastBracket(line);
  const std::size_t bracket = cut.find('[');
  if (bracket == std::string_view::npos) {
    return std::nullopt;
  }
  return std::string(cut.substr(bracket + 1));
}
