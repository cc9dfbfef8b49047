// The calendar of a report: weeks side by side, a cell for each day. Days with failed backups have a sign
// besides their colour, for print and for people who cannot tell the colours apart.
#include <map>

#include "korvo/html.h"
#include "korvo/plots.h"
#include "korvo/text.h"

namespace korvo {
namespace {

constexpr int kStep = 16;
constexpr int kCell = 13;
constexpr int kLeft = 30;
constexpr int kTop = 18;
constexpr int kWeekdays = 7;

struct Day {
  std::uint64_t good = 0;
  std::uint64_t bad = 0;
};

struct Look {
  const char* style;
  const char* sign;
};

Look LookOf(const Day& day) {
  if (day.good > 0) {
    return day.bad > 0 ? Look{"mixed", "!"} : Look{"good", ""};
  }
  return day.bad > 0 ? Look{"failed", "×"} : Look{"none", ""};
}

std::string WordsFor(long day, const Day& content) {
  std::string words = DayText(day, DayForm::kWhole) + ": ";
  if (content.good + content.bad == 0) {
    return words + "no backup";
  }
  if (content.good > 0) {
    words += Count(content.good, "good backup");
  }
  if (content.bad > 0) {
    words += (content.good > 0 ? ", " : "") + std::to_string(content.bad) + " that failed";
  }
  return words;
}

std::string Text(int x, int y, const std::string& attributes, const std::string& text) {
  return "<text x=\"" + std::to_string(x) + "\" y=\"" + std::to_string(y) + "\"" + attributes + ">" + text +
         "</text>";
}

std::string Cell(int x, int y, long day, const Day& content) {
  const Look look = LookOf(content);
  const std::string sign = look.sign;
  return "<g class=\"day " + std::string(look.style) + "\"><title>" + WordsFor(day, content) +
         "</title><rect x=\"" + std::to_string(x) + "\" y=\"" + std::to_string(y) + "\" width=\"" +
         std::to_string(kCell) + "\" height=\"" + std::to_string(kCell) + "\" rx=\"2.5\"/>" +
         (sign.empty() ? "" : Text(x + kCell / 2, y + kCell - 3, " text-anchor=\"middle\"", sign)) + "</g>\n";
}

std::map<long, Day> DaysOf(const DatabaseFacts& database) {
  std::map<long, Day> days;
  for (const Backup* backup : database.backups) {
    const std::string state = StateName(backup->saveset);
    Day& day = days[DayOf(backup->saveset.created)];
    if (state == "good" || state == "warnings") {
      ++day.good;
    } else if (state != "running") {
      ++day.bad;
    }
  }
  return days;
}

std::string Weekdays() {
  std::string names;
  for (const auto& [row, name] : {std::pair{0, "Mon"}, {2, "Wed"}, {4, "Fri"}}) {
    names += Text(0, kTop + row * kStep + kCell - 3, " class=\"label\"", name);
  }
  return names;
}

}  // namespace

std::string CalendarPicture(const DatabaseFacts& database, std::int64_t now) {
  const long today = DayOf(now);
  const long first = today - kReportDays + 1;
  const long monday = first - WeekdayOf(first);
  std::map<long, Day> days = DaysOf(database);
  std::string cells;
  std::string months;
  for (long day = first; day <= today; ++day) {
    const int x = kLeft + static_cast<int>((day - monday) / kWeekdays) * kStep;
    const int y = kTop + WeekdayOf(day) * kStep;
    cells += Cell(x, y, day, days[day]);
    if (IsFirstOfMonth(day)) {
      months += Text(x, kTop - 6, " class=\"label\"", DayText(day, DayForm::kMonth));
    }
  }
  const int width = kLeft + static_cast<int>((today - monday) / kWeekdays + 1) * kStep;
  const int height = kTop + kWeekdays * kStep;
  return "<svg class=\"calendar\" viewBox=\"0 0 " + std::to_string(width) + " " + std::to_string(height) +
         "\" width=\"" + std::to_string(width) + "\" height=\"" + std::to_string(height) +
         "\" role=\"img\" aria-label=\"The last " + std::to_string(kReportDays) + " days of " +
         Html(database.title) + "\">" + months + Weekdays() + cells + "</svg>\n";
}

}  // namespace korvo
