// What the data mover prints and the program looks for. A line has a meaning if it contains the number and
// the text, at any place.
#pragma once

#include <array>
#include <string>
#include <string_view>

struct MoverWords {
  std::string_view number;
  std::string_view text;

  [[nodiscard]] bool AreIn(std::string_view line) const {
    return line.find(number) != std::string_view::npos && line.find(text) != std::string_view::npos;
  }
  [[nodiscard]] std::string Line() const { return std::string(number) + ' ' + std::string(text); }
};

inline constexpr MoverWords kSaysSuccessful{"3007", "Operation successful"};
inline constexpr MoverWords kSaysWarnings{"2032", "Operation successful with warnings"};
inline constexpr MoverWords kSaysFailed{"3053", "Operation failed"};
inline constexpr MoverWords kSaysEmpty{"2002", "Saveset empty"};
inline constexpr MoverWords kSaysCannotWrite{"2045", "Cannot write to Item"};
inline constexpr MoverWords kSaysProcessed{"-3052", "Items processed correctly"};
inline constexpr MoverWords kSaysItemDone{"-3108", "Item processed successfully"};

inline constexpr std::array<MoverWords, 7> kMoverWords{
    kSaysSuccessful, kSaysWarnings, kSaysFailed, kSaysEmpty, kSaysCannotWrite, kSaysProcessed, kSaysItemDone};
