#include "backint/base/text_numbers.h"

#include <functional>
#include <utility>

namespace {

constexpr std::size_t kFirstSlots = 16;

std::uint32_t HashOf(std::string_view text) {
  return static_cast<std::uint32_t>(std::hash<std::string_view>()(text));
}

}  // namespace

std::uint32_t TextNumbers::Add(std::string_view text) {
  if (ends_.size() * 2 >= slots_.size()) {
    Grow();
  }
  const std::uint32_t hash = HashOf(text);
  Slot& slot = slots_[SlotOf(text, hash)];
  if (slot.number == kFree) {
    text_ += text;
    ends_.push_back(text_.size());
    slot = {static_cast<std::uint32_t>(ends_.size() - 1), hash};
  }
  return slot.number;
}

std::optional<std::uint32_t> TextNumbers::Find(std::string_view text) const {
  if (slots_.empty()) {
    return std::nullopt;
  }
  const std::uint32_t number = slots_[SlotOf(text, HashOf(text))].number;
  return number == kFree ? std::nullopt : std::optional(number);
}

std::string_view TextNumbers::TextOf(std::uint32_t number) const {
  const std::size_t begin = number == 0 ? 0 : ends_[number - 1];
  return std::string_view(text_).substr(begin, ends_[number] - begin);
}

// The slot that has the text's number, or the free one where it belongs.
std::size_t TextNumbers::SlotOf(std::string_view text, std::uint32_t hash) const {
  const std::size_t last = slots_.size() - 1;
  std::size_t place = hash & last;
  while (slots_[place].number != kFree &&
         (slots_[place].hash != hash || TextOf(slots_[place].number) != text)) {
    place = (place + 1) & last;
  }
  return place;
}

void TextNumbers::Grow() {
  const std::size_t size = slots_.empty() ? kFirstSlots : slots_.size() * 2;
  const std::vector<Slot> before = std::exchange(slots_, std::vector<Slot>(size));
  const std::size_t last = size - 1;
  for (const Slot& slot : before) {
    if (slot.number == kFree) {
      continue;
    }
    std::size_t place = slot.hash & last;
    while (slots_[place].number != kFree) {
      place = (place + 1) & last;
    }
    slots_[place] = slot;
  }
}
