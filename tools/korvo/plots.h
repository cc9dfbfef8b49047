// The pictures of a report, as SVG inside a page.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "korvo/facts.h"

namespace korvo {

inline constexpr long kReportDays = 90;

// Bytes for each of the last kReportDays days, the last one today.
struct DailySizes {
  long firstDay = 0;                      // as `DayOf` counts days
  std::vector<std::uint64_t> repository;  // stored today, and came by the end of the day
  std::vector<std::uint64_t> files;       // the files of the day's backups
  std::vector<std::uint64_t> added;       // what these backups added
};
[[nodiscard]] DailySizes SizesByDay(const Facts& facts);

// The last 90 days, with how the database's backups went on each. `now`: seconds since 1970.
[[nodiscard]] std::string CalendarPicture(const DatabaseFacts& database, std::int64_t now);
// How the repository grew.
[[nodiscard]] std::string GrowthPicture(const DailySizes& sizes);
// How large each day's backups were, and what they added.
[[nodiscard]] std::string SavingPicture(const DailySizes& sizes);

}  // namespace korvo
