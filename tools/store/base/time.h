// Times, in seconds since 1970, that come from outside.
#pragma once

#include <cstdint>

namespace store {

// Whether it is one of the years that calendars have, 1 to 9999. What is further off was damaged, and cannot
// even be counted with.
[[nodiscard]] constexpr bool IsTime(std::int64_t seconds) {
  constexpr std::int64_t kFirst = -62'135'596'800;
  constexpr std::int64_t kLast = 253'402'300'799;
  return seconds >= kFirst && seconds <= kLast;
}

}  // namespace store
