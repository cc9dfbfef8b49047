#include "korvo/text.h"

#include <array>
#include <charconv>
#include <ctime>
#include <utility>

#include "store/retention.h"

namespace korvo {
namespace {

constexpr std::int64_t kMinute = 60;
constexpr std::int64_t kHour = 60 * kMinute;
constexpr std::int64_t kDay = 24 * kHour;
constexpr std::int64_t kWeek = 7 * kDay;

std::string Format(const std::tm* parts, const char* format, std::int64_t seconds) {
  std::array<char, 32> text = {};
  return parts != nullptr && std::strftime(text.data(), text.size(), format, parts) > 0
             ? text.data()
             : std::to_string(seconds);
}

std::string CountOfUnit(std::int64_t number, const char* unit) {
  return Count(static_cast<std::uint64_t>(number), unit);
}

}  // namespace

std::string TimeText(std::int64_t seconds) {
  const auto time = static_cast<std::time_t>(seconds);
  return Format(std::localtime(&time), "%Y-%m-%d %H:%M:%S", seconds);
}

std::string UtcText(std::int64_t seconds) {
  const auto time = static_cast<std::time_t>(seconds);
  return Format(std::gmtime(&time), "%Y-%m-%dT%H:%M:%SZ", seconds);
}

std::string DurationText(std::int64_t seconds) {
  for (const auto& [length, unit] : {std::pair{kDay, "day"}, {kHour, "hour"}, {kMinute, "minute"}}) {
    if (seconds > 0 && seconds % length == 0) {
      return CountOfUnit(seconds / length, unit);
    }
  }
  return CountOfUnit(seconds, "second");
}

std::string AgeText(std::int64_t seconds) {
  constexpr std::int64_t kEnough = 2;
  for (const auto& [length, unit] : {std::pair{kDay, "day"}, {kHour, "hour"}, {kMinute, "minute"}}) {
    if (seconds >= kEnough * length) {
      return CountOfUnit(seconds / length, unit);
    }
  }
  return CountOfUnit(seconds < 0 ? 0 : seconds, "second");
}

bool ReadDuration(std::string_view text, std::int64_t& seconds) {
  constexpr std::int64_t kMost = 100'000;  // of weeks: far beyond any backup's life, and no overflow
  std::int64_t number = 0;
  const char* end = text.data() + text.size();
  const auto [behind, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || behind + 1 != end || number < 1) {
    return false;
  }
  for (const auto& [letter, length] :
       {std::pair{'s', std::int64_t{1}}, {'m', kMinute}, {'h', kHour}, {'d', kDay}, {'w', kWeek}}) {
    if (*behind == letter && number <= kMost * kWeek / length) {
      seconds = number * length;
      return true;
    }
  }
  return false;
}

std::string Count(std::uint64_t number, const std::string& what) {
  return std::to_string(number) + " " + what + (number == 1 ? "" : "s");
}

std::string StateName(const store::Saveset& saveset) {
  switch (saveset.mover) {
    case store::Mover::kNone:
      return "unused";
    case store::Mover::kRunning:
      return "running";
    case store::Mover::kEndedClean:
      return saveset.failed ? "withdrawn" : saveset.warnings ? "warnings" : "good";
    case store::Mover::kEndedFailed:
      break;
  }
  return "failed";
}

std::string StateText(const store::Saveset& saveset) {
  const bool spoilt = saveset.sessionFailed && store::IsGood(saveset);
  return StateName(saveset) + (spoilt ? ", backup failed" : "") + (saveset.isProtected ? ", protected" : "") +
         (saveset.marked ? ", marked" : "");
}

}  // namespace korvo
