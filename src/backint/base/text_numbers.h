// Gives each different text a number.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// Numbers count from 0 in the order of adding. A text takes its own bytes and some twenty more; a search asks
// for no memory.
class TextNumbers {
 public:
  // The number of a text, a new one if it has none yet.
  std::uint32_t Add(std::string_view text);
  [[nodiscard]] std::optional<std::uint32_t> Find(std::string_view text) const;
  [[nodiscard]] bool Contains(std::string_view text) const { return Find(text).has_value(); }
  [[nodiscard]] std::size_t Count() const { return ends_.size(); }

 private:
  static constexpr std::uint32_t kFree = std::numeric_limits<std::uint32_t>::max();

  [[nodiscard]] std::string_view TextOf(std::uint32_t number) const;
  // Half of all slots are free.
  struct Slot {
    std::uint32_t number = kFree;
    std::uint32_t hash = 0;  // of the number's text: what differs in it is not compared
  };
  [[nodiscard]] std::size_t SlotOf(std::string_view text, std::uint32_t hash) const;
  void Grow();

  std::string text_;               // all texts, one after the other
  std::vector<std::size_t> ends_;  // of each text
  // A table of the numbers, each in the slot of its text's hash or the next free one behind.
  std::vector<Slot> slots_;
};
