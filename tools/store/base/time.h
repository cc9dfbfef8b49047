// Times that come from outside, in seconds since 1970.
#pragma once

#include <cstdint>

namespace store {

// Whether the time is in the years 1 to 9999, which calendars have. Any other was damaged, and cannot even be
// calculated with.
[[nodiscard]] constexpr bool IsTime(std::int64_t seconds) {
  constexpr std::int64_t kFirst = -62'135'596'800;
  constexpr std::int64_t kLast = 253'402'300'799;
  return seconds >= kFirst && seconds <= kLast;
}

}  // namespace store
