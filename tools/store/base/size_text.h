// Sizes as people read them.
#pragma once

#include <array>
#include <cstdint>
#include <string>

namespace store {

// Each unit is 1,024 times the one before.
inline constexpr std::array<const char*, 7> kSizeUnits = {"B", "KiB", "MiB", "GiB", "TiB", "PiB", "EiB"};

// `1.2 GiB`, `17 bytes`. A size that is missing is better rounded up.
enum class Rounding { kNearest, kUp };
[[nodiscard]] std::string SizeText(std::uint64_t bytes, Rounding rounding = Rounding::kNearest);

}  // namespace store
