// Pieces of pages.
#pragma once

#include <string>
#include <string_view>

namespace korvo {

// Text as HTML and SVG have it, in and outside of attributes.
[[nodiscard]] std::string Html(std::string_view text);

// A day of the calendar in local time, counted from 1970-01-01.
[[nodiscard]] long DayOf(std::int64_t seconds);
// `25 Nov 2026`, `25 Nov`, `Nov`
enum class DayForm { kWhole, kShort, kMonth };
[[nodiscard]] std::string DayText(long day, DayForm form);
// 0 is Monday.
[[nodiscard]] int WeekdayOf(long day);
[[nodiscard]] bool IsFirstOfMonth(long day);

}  // namespace korvo
