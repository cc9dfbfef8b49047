#include "backint/base/item_list.h"

#include <limits>

std::optional<std::string> ItemList::Get(std::size_t position) const {
  return position < 1 || position > ends_.size() ? std::nullopt
                                                 : std::optional(std::string(At(position - 1)));
}

bool ItemList::Contains(std::string_view text) const {
  for (std::size_t i = 0; i < ends_.size(); ++i) {
    if (At(i) == text) {
      return true;
    }
  }
  return false;
}

std::string JoinItems(const ItemList& list) {
  std::string text;
  JoinUpTo(list, std::numeric_limits<std::size_t>::max(), text);
  return text;
}

bool JoinUpTo(const ItemList& list, std::size_t limit, std::string& text) {
  text.clear();
  bool first = true;
  for (const std::string& record : list) {
    if (!first) {
      text += ' ';
    }
    first = false;
    text += record;
    if (text.size() >= limit) {
      text.resize(limit);
      return false;
    }
  }
  return text.size() < limit;
}
