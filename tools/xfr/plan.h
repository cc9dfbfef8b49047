// The items of a request, each once, in their order.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "xfr/name_list.h"

// An item that is listed again, perhaps with other separators, is worked on once, when it comes first, and
// reported under each of its spellings.
class Plan {
 public:
  explicit Plan(const NameList& items);

  [[nodiscard]] bool IsFirst(std::size_t index) const { return first_[index] == index; }
  // Under which names the item that comes first at this index is to be reported.
  [[nodiscard]] std::vector<std::string> Spellings(std::size_t index) const;

 private:
  const NameList& items_;
  std::vector<std::uint32_t> first_;
  std::vector<std::uint32_t> next_;  // the next spelling of the same item; 0 behind the last one
};
