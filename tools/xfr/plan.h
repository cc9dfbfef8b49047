// The items of a request, each once, in their order.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "xfr/name_list.h"

// An item may be listed several times, perhaps with other separators. It is worked on once, where it comes
// first, and reported under each of its spellings. The list must outlive the plan.
class Plan {
 public:
  explicit Plan(const NameList& items);

  [[nodiscard]] bool IsFirst(std::size_t index) const { return first_[index] == index; }
  // All names under which the item is reported. `index` is where it comes first.
  [[nodiscard]] std::vector<std::string> Spellings(std::size_t index) const;

 private:
  const NameList& items_;
  std::vector<std::uint32_t> first_;
  std::vector<std::uint32_t> next_;  // the next spelling of the same item; 0 for the last one
};
