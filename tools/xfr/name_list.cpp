#include "xfr/name_list.h"

#include <algorithm>
#include <numeric>

#include "store/base/bytes.h"

namespace {

constexpr std::size_t kPieceSize = 64 * 1024;
constexpr std::size_t kNamesOfMark = 16;

struct Place {
  std::uint64_t hash = 0;
  std::uint32_t index = 0;
};

// For places with equal hashes, which nearly always have one key.
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
  const std::string length = store::Encoder().Varint(name.size()).Take();
  const std::size_t size = length.size() + name.size();
  if (pieces_.empty() || pieces_.back().capacity() - pieces_.back().size() < size) {
    pieces_.emplace_back().reserve(std::max(kPieceSize, size));
  }
  std::string& piece = pieces_.back();
  if (size_++ % kNamesOfMark == 0) {
    marks_.push_back(
        {static_cast<std::uint32_t>(pieces_.size() - 1), static_cast<std::uint32_t>(piece.size())});
  }
  piece += length;
  piece += name;
}

std::string_view NameList::operator[](std::size_t index) const {
  const Mark& mark = marks_[index / kNamesOfMark];
  auto piece = pieces_.begin() + mark.piece;
  store::Decoder rest(std::string_view(*piece).substr(mark.offset));
  for (std::size_t behind = index % kNamesOfMark;; --behind) {
    if (rest.Left() == 0) {
      rest = store::Decoder(*++piece);
    }
    const std::string_view name = rest.Text();
    if (behind == 0) {
      return name;
    }
  }
}

std::vector<std::string> NameList::Names(std::size_t first, std::size_t most) const {
  std::vector<std::string> names;
  for (std::size_t index = first; index < size_ && names.size() < most; ++index) {
    names.emplace_back((*this)[index]);
  }
  return names;
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
