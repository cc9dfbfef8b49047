#include "korvo/html.h"

#include <array>
#include <chrono>

#include "platform/terminal.h"
#include "store/retention.h"

namespace korvo {
namespace {

constexpr std::array<const char*, 12> kMonths = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                 "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

std::chrono::year_month_day DateOf(long day) { return std::chrono::sys_days(std::chrono::days(day)); }

}  // namespace

std::string Html(std::string_view text) {
  std::string html;
  for (const char c : platform::ToUtf8(text)) {
    switch (c) {
      case '&':
        html += "&amp;";
        break;
      case '<':
        html += "&lt;";
        break;
      case '>':
        html += "&gt;";
        break;
      case '"':
        html += "&quot;";
        break;
      case '\'':
        html += "&#39;";
        break;
      default:
        html += c;
    }
  }
  return html;
}

long DayOf(std::int64_t seconds) { return static_cast<long>(store::LocalDayOf(seconds)); }

std::string DayText(long day, DayForm form) {
  const std::chrono::year_month_day date = DateOf(day);
  std::string month = kMonths[static_cast<unsigned>(date.month()) - 1];
  if (form == DayForm::kMonth) {
    return month;
  }
  const std::string text = std::to_string(static_cast<unsigned>(date.day())) + " " + month;
  return form == DayForm::kShort ? text : text + " " + std::to_string(static_cast<int>(date.year()));
}

int WeekdayOf(long day) {
  constexpr long kWeek = 7;
  constexpr long kOfTheFirst = 3;  // 1970-01-01 was a Thursday
  return static_cast<int>(((day + kOfTheFirst) % kWeek + kWeek) % kWeek);
}

bool IsFirstOfMonth(long day) { return DateOf(day).day() == std::chrono::day(1); }

}  // namespace korvo
