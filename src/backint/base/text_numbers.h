// Gives each different text a number.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// Numbers count from 0, in the order of adding. A text takes its own bytes and about 24 to 40 more. A search
// allocates no memory.
class TextNumbers {
 public:
  // The number of the text; a new one if the text has none yet.
  std::uint32_t Add(std::string_view text);
  [[nodiscard]] std::optional<std::uint32_t> Find(std::string_view text) const;
  [[nodiscard]] bool Contains(std::string_view text) const { return Find(text).has_value(); }
  [[nodiscard]] std::size_t Count() const { return ends_.size(); }

 private:
  static constexpr std::uint32_t kFree = std::numeric_limits<std::uint32_t>::max();

  [[nodiscard]] std::string_view TextOf(std::uint32_t number) const;
  // At least half of all slots are free.
  struct Slot {
    std::uint32_t number = kFree;
    std::uint32_t hash = 0;  // of the text: texts with different hashes are not compared
  };
  [[nodiscard]] std::size_t SlotOf(std::string_view text, std::uint32_t hash) const;
  void Grow();

  std::string text_;               // all texts, one after the other
  std::vector<std::size_t> ends_;  // where each text ends in `text_`
  // A hash table of the numbers: a number is in the slot of its text's hash, or in the next free slot after
  // it.
  std::vector<Slot> slots_;
};
