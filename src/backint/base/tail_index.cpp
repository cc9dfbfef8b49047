#include "backint/base/tail_index.h"

#include <algorithm>

void TailIndex::Add(const std::string& text, std::size_t position) {
  positions_[text].push_back(position);
  const auto place = std::lower_bound(lengths_.begin(), lengths_.end(), text.size());
  if (place == lengths_.end() || *place != text.size()) {
    lengths_.insert(place, text.size());
  }
}

template <typename Accepts>
std::vector<const TailIndex::Positions*> TailIndex::Find(std::string_view text,
                                                         const Accepts& accepts) const {
  std::vector<const Positions*> found;
  for (const std::size_t length : lengths_) {
    if (length > text.size()) {
      break;
    }
    const std::string tail(text.substr(text.size() - length));
    const auto entry = positions_.find(tail);
    if (entry != positions_.end() && accepts(tail)) {
      found.push_back(&entry->second);
    }
  }
  return found;
}

std::vector<const TailIndex::Positions*> TailIndex::FindTails(const std::string& text) const {
  return Find(text, [](const std::string&) { return true; });
}

std::vector<const TailIndex::Positions*> TailIndex::FindFirstTails(const std::string& text,
                                                                   std::string_view suffix) const {
  if (!text.ends_with(suffix)) {
    return {};
  }
  const std::string_view front(text.data(), text.size() - suffix.size());
  return Find(front, [&](const std::string& tail) {
    return text.find(tail + std::string(suffix)) == front.size() - tail.size();
  });
}
