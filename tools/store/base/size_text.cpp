#include "store/base/size_text.h"

#include <cmath>
#include <cstdio>

namespace store {

std::string SizeText(std::uint64_t bytes, Rounding rounding) {
  constexpr double kStep = 1024;
  if (bytes < static_cast<std::uint64_t>(kStep)) {
    return std::to_string(bytes) + (bytes == 1 ? " byte" : " bytes");
  }
  const auto tenthsOf = [rounding](double size) {
    return rounding == Rounding::kUp ? std::ceil(size * 10) : std::round(size * 10);
  };
  double size = static_cast<double>(bytes) / kStep;
  std::size_t unit = 1;
  for (; tenthsOf(size) >= 10 * kStep && unit + 1 < kSizeUnits.size(); ++unit) {
    size /= kStep;
  }
  std::array<char, 32> text = {};
  (void)std::snprintf(text.data(), text.size(), "%.1f %s", tenthsOf(size) / 10, kSizeUnits.at(unit));
  return text.data();
}

}  // namespace store
