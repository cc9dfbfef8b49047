// Sizes, times, durations and states as people write and read them.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "store/base/size_text.h"
#include "store/catalog/catalog.h"

namespace korvo {

// `2026-11-25 08:39:07`, in local time.
[[nodiscard]] std::string TimeText(std::int64_t seconds);
// `2026-11-25T07:39:07Z`: the same in UTC, for programs.
[[nodiscard]] std::string UtcText(std::int64_t seconds);

// `1 day`, `30 hours`: in the largest unit that leaves no rest.
[[nodiscard]] std::string DurationText(std::int64_t seconds);
// `3 days`, `26 hours`, `5 minutes`: in the largest unit of which there are at least two, rounded down.
[[nodiscard]] std::string AgeText(std::int64_t seconds);
// Reads `90s`, `45m`, `12h`, `30d`, `2w`: a whole number above 0 and a unit. False for anything else.
[[nodiscard]] bool ReadDuration(std::string_view text, std::int64_t& seconds);

using store::SizeText;
// `1 pack`, `17 packs`.
[[nodiscard]] std::string Count(std::uint64_t number, const std::string& what);

// `good`, `warnings`, `failed`, `withdrawn`, `running` or `unused`.
[[nodiscard]] std::string StateName(const store::Saveset& saveset);
// The same, with what else the owner should know: `good, backup failed`, `good, protected`, `failed, marked`.
[[nodiscard]] std::string StateText(const store::Saveset& saveset);

}  // namespace korvo
