// Text and dates for HTML pages.
#pragma once

#include <string>
#include <string_view>

namespace korvo {

// The text escaped for HTML and SVG, inside and outside of attributes, in UTF-8.
[[nodiscard]] std::string Html(std::string_view text);

// The local calendar day of a time (seconds since 1970), as the number of days since 1970-01-01.
[[nodiscard]] long DayOf(std::int64_t seconds);
// The forms of a day: `25 Nov 2026`, `25 Nov`, `Nov`.
enum class DayForm { kWhole, kShort, kMonth };
[[nodiscard]] std::string DayText(long day, DayForm form);
// 0 is Monday.
[[nodiscard]] int WeekdayOf(long day);
[[nodiscard]] bool IsFirstOfMonth(long day);

}  // namespace korvo
