// Finds which of many texts another text ends in.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "backint/base/text_numbers.h"

// Holds texts with a position each. The work of a search depends on the length of the searched text and on
// how many different lengths the texts have, not on their number; it asks for memory only for what it finds.
class TailIndex {
 public:
  // The positions of one text, in the order of adding; valid as long as the index.
  using Positions = std::span<const std::uint32_t>;

  // The number of the text (TextNumbers).
  std::uint32_t Add(std::string_view text, std::uint32_t position);
  // Behind the last text and in front of the first search.
  void Finish();

  // The positions of exactly this text.
  [[nodiscard]] Positions Find(std::string_view text) const;
  // Every text that `text` ends in.
  [[nodiscard]] std::vector<Positions> FindTails(std::string_view text) const;
  // Every text that `text` ends in with `suffix` behind it, if the two together occur there for the first
  // time.
  [[nodiscard]] std::vector<Positions> FindFirstTails(std::string_view text,
                                                      std::string_view suffix = "") const;

 private:
  struct Added {
    std::uint32_t text;
    std::uint32_t position;
  };
  template <typename Accepts>
  [[nodiscard]] std::vector<Positions> FindTails(std::string_view text, const Accepts& accepts) const;

  TextNumbers texts_;
  std::vector<std::size_t> lengths_;  // distinct, rising
  std::vector<Added> added_;          // until the index is finished
  // The positions of a text, by its number: from begins_[number] to begins_[number + 1].
  std::vector<std::uint32_t> begins_;
  std::vector<std::uint32_t> positions_;
};
