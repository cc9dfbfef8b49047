// Pictures of a report, as SVG within a page.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "korvo/facts.h"

namespace korvo {

inline constexpr long kReportDays = 90;

// One day after the other, the last one today.
struct DailySizes {
  long firstDay = 0;
  std::vector<std::uint64_t> repository;  // all that is stored, at the end of the day
  std::vector<std::uint64_t> files;       // of the day's backups
  std::vector<std::uint64_t> added;       // by them
};
[[nodiscard]] DailySizes SizesByDay(const Facts& facts);

// Each day of the last 90 with how the database's backups went.
[[nodiscard]] std::string CalendarPicture(const DatabaseFacts& database, std::int64_t now);
// How the repository grew; what each day's backups were, and what they added.
[[nodiscard]] std::string GrowthPicture(const DailySizes& sizes);
[[nodiscard]] std::string SavingPicture(const DailySizes& sizes);

}  // namespace korvo
