#include "korvo/text.h"

#include <array>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <utility>

#include "store/retention.h"

namespace korvo {
namespace {

constexpr std::int64_t kMinute = 60;
constexpr std::int64_t kHour = 60 * kMinute;
constexpr std::int64_t kDay = 24 * kHour;
constexpr std::int64_t kWeek = 7 * kDay;

std::string CountOfUnit(std::int64_t number, const char* unit) {
  return Count(static_cast<std::uint64_t>(number), unit);
}

}  // namespace

std::string TimeText(std::int64_t seconds) {
  const auto time = static_cast<std::time_t>(seconds);
  const std::tm* parts = std::localtime(&time);
  std::array<char, 32> text = {};
  // Windows knows no local time before 1970.
  return parts != nullptr && std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", parts) > 0
             ? text.data()
             : UtcText(seconds);
}

std::string UtcText(std::int64_t seconds) {
  constexpr std::int64_t kFirst = -62'135'596'800;  // the year 1
  constexpr std::int64_t kLast = 253'402'300'799;   // the end of the year 9999
  if (seconds < kFirst || seconds > kLast) {
    return std::to_string(seconds);
  }
  const std::chrono::sys_seconds time{std::chrono::seconds(seconds)};
  const auto day = std::chrono::floor<std::chrono::days>(time);
  const std::chrono::year_month_day date(day);
  const std::chrono::hh_mm_ss clock(time - day);
  std::array<char, 32> text = {};
  std::snprintf(text.data(), text.size(), "%04d-%02u-%02uT%02d:%02d:%02dZ", static_cast<int>(date.year()),
                static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
                static_cast<int>(clock.seconds().count()));
  return text.data();
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
  constexpr std::int64_t kMost = 100'000;  // weeks: far more than any backup lives, and no overflow
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
