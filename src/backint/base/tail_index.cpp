#include "backint/base/tail_index.h"

#include <algorithm>
#include <numeric>

std::uint32_t TailIndex::Add(std::string_view text, std::uint32_t position) {
  const auto place = std::lower_bound(lengths_.begin(), lengths_.end(), text.size());
  if (place == lengths_.end() || *place != text.size()) {
    lengths_.insert(place, text.size());
  }
  const std::uint32_t number = texts_.Add(text);
  added_.push_back({number, position});
  return number;
}

void TailIndex::Finish() {
  begins_.assign(texts_.Count() + 1, 0);
  for (const Added& added : added_) {
    ++begins_[added.text + 1];
  }
  std::partial_sum(begins_.begin(), begins_.end(), begins_.begin());
  positions_.resize(added_.size());
  for (const Added& added : added_) {
    positions_[begins_[added.text]++] = added.position;  // moves the begin to the next free place
  }
  std::copy_backward(begins_.begin(), begins_.end() - 1, begins_.end());
  begins_.front() = 0;
  added_ = {};
}

TailIndex::Positions TailIndex::Find(std::string_view text) const {
  const std::optional<std::uint32_t> number = texts_.Find(text);
  if (!number) {
    return {};
  }
  return Positions(positions_).subspan(begins_[*number], begins_[*number + 1] - begins_[*number]);
}

template <typename Accepts>
std::vector<TailIndex::Positions> TailIndex::FindTails(std::string_view text, const Accepts& accepts) const {
  std::vector<Positions> found;
  for (const std::size_t length : lengths_) {
    if (length > text.size()) {
      break;
    }
    const std::string_view tail = text.substr(text.size() - length);
    const Positions positions = Find(tail);
    if (!positions.empty() && accepts(tail)) {
      found.push_back(positions);
    }
  }
  return found;
}

std::vector<TailIndex::Positions> TailIndex::FindTails(std::string_view text) const {
  return FindTails(text, [](std::string_view) { return true; });
}

// The suffix follows each tail. So the text from the tail to the end is what must not occur earlier.
std::vector<TailIndex::Positions> TailIndex::FindFirstTails(std::string_view text,
                                                            std::string_view suffix) const {
  if (!text.ends_with(suffix)) {
    return {};
  }
  const std::string_view front = text.substr(0, text.size() - suffix.size());
  return FindTails(front, [&](std::string_view tail) {
    const std::size_t place = front.size() - tail.size();
    return text.find(text.substr(place)) == place;
  });
}
