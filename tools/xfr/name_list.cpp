#include "xfr/name_list.h"

#include <algorithm>
#include <numeric>

namespace {

constexpr std::size_t kPieceSize = 64 * 1024;

struct Place {
  std::uint64_t hash = 0;
  std::uint32_t index = 0;
};

// Of places whose hashes are equal; nearly always those of one key.
void TakeSame(const std::vector<Place>& places, std::size_t begin, std::size_t end,
              const std::function<std::string(std::size_t)>& keyOf, std::vector<std::uint32_t>& first) {
  std::vector<std::pair<std::string, std::uint32_t>> keys;
  for (std::size_t i = begin; i < end; ++i) {
    const std::string key = keyOf(places[i].index);
    const auto known =
        std::find_if(keys.begin(), keys.end(), [&key](const auto& entry) { return entry.first == key; });
    if (known == keys.end()) {
      keys.emplace_back(key, places[i].index);
    } else {
      first[places[i].index] = known->second;
    }
  }
}

}  // namespace

void NameList::Add(std::string_view name) {
  if (pieces_.empty() || pieces_.back().capacity() - pieces_.back().size() < name.size()) {
    pieces_.emplace_back().reserve(std::max(kPieceSize, name.size()));
  }
  std::string& piece = pieces_.back();
  piece += name;
  names_.push_back(std::string_view(piece).substr(piece.size() - name.size()));
}

std::vector<std::uint32_t> FirstOfEach(std::size_t count,
                                       const std::function<std::string(std::size_t)>& keyOf) {
  std::vector<std::uint32_t> first(count);
  std::iota(first.begin(), first.end(), 0);
  std::vector<Place> places(count);
  for (std::size_t i = 0; i < count; ++i) {
    places[i] = {std::hash<std::string>()(keyOf(i)), static_cast<std::uint32_t>(i)};
  }
  std::sort(places.begin(), places.end(), [](const Place& a, const Place& b) {
    return a.hash != b.hash ? a.hash < b.hash : a.index < b.index;
  });
  for (std::size_t begin = 0; begin < count;) {
    std::size_t end = begin + 1;
    while (end < count && places[end].hash == places[begin].hash) {
      ++end;
    }
    if (end - begin > 1) {
      TakeSame(places, begin, end, keyOf, first);
    }
    begin = end;
  }
  return first;
}
