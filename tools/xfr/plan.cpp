#include "xfr/plan.h"

#include "store/names.h"

Plan::Plan(const NameList& items)
    : items_(items),
      first_(FirstOfEach(items.Size(), [&items](std::size_t index) { return store::ItemKey(items[index]); })),
      next_(items.Size(), 0) {
  // From the end, so that each chain is in the order of the list.
  for (std::size_t index = items.Size(); index-- > 0;) {
    if (const std::uint32_t first = first_[index]; first != index) {
      next_[index] = next_[first];
      next_[first] = static_cast<std::uint32_t>(index);
    }
  }
}

std::vector<std::string> Plan::Spellings(std::size_t index) const {
  std::vector<std::string> spellings = {std::string(items_[index])};
  for (std::size_t next = next_[index]; next != 0; next = next_[next]) {
    spellings.emplace_back(items_[next]);
  }
  return spellings;
}
