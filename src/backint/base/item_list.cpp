#include "backint/base/item_list.h"

#include <algorithm>
#include <limits>

void ItemList::AppendAll(const ItemList& source) {
  records_.insert(records_.end(), source.begin(), source.end());
}

bool ItemList::Next(std::string& record) {
  if (cursor_ == records_.size()) {
    cursor_ = 0;
    return false;
  }
  record = records_[cursor_++];
  return true;
}

const std::string* ItemList::Get(std::size_t position) const {
  return position < 1 || position > records_.size() ? nullptr : &records_[position - 1];
}

bool ItemList::Remove(std::size_t position) {
  if (Get(position) == nullptr) {
    return false;
  }
  records_.erase(records_.begin() + static_cast<std::ptrdiff_t>(position - 1));
  return true;
}

bool ItemList::Contains(std::string_view text) const {
  return std::find(records_.begin(), records_.end(), text) != records_.end();
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
