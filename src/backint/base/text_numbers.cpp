#include "backint/base/text_numbers.h"

#include <functional>
#include <limits>

namespace {

constexpr std::uint32_t kFree = std::numeric_limits<std::uint32_t>::max();
constexpr std::size_t kFirstSlots = 16;

}  // namespace

std::uint32_t TextNumbers::Add(std::string_view text) {
  if (ends_.size() * 2 >= slots_.size()) {
    Grow();
  }
  std::uint32_t& slot = slots_[SlotOf(text)];
  if (slot == kFree) {
    text_ += text;
    ends_.push_back(text_.size());
    slot = static_cast<std::uint32_t>(ends_.size() - 1);
  }
  return slot;
}

std::optional<std::uint32_t> TextNumbers::Find(std::string_view text) const {
  if (slots_.empty()) {
    return std::nullopt;
  }
  const std::uint32_t number = slots_[SlotOf(text)];
  return number == kFree ? std::nullopt : std::optional(number);
}

std::string_view TextNumbers::TextOf(std::uint32_t number) const {
  const std::size_t begin = number == 0 ? 0 : ends_[number - 1];
  return std::string_view(text_).substr(begin, ends_[number] - begin);
}

// The slot that has the text's number, or the free one where it belongs. Half of all are free.
std::size_t TextNumbers::SlotOf(std::string_view text) const {
  const std::size_t last = slots_.size() - 1;
  std::size_t slot = std::hash<std::string_view>()(text) & last;
  while (slots_[slot] != kFree && TextOf(slots_[slot]) != text) {
    slot = (slot + 1) & last;
  }
  return slot;
}

void TextNumbers::Grow() {
  const std::size_t size = slots_.empty() ? kFirstSlots : slots_.size() * 2;
  slots_ = {};
  slots_.assign(size, kFree);
  for (std::uint32_t number = 0; number < ends_.size(); ++number) {
    slots_[SlotOf(TextOf(number))] = number;
  }
}
