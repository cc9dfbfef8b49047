// Finds out with which of many texts another text ends.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "backint/base/text_numbers.h"

// Holds texts, each with a position. The time of a search depends on the length of the searched text and on
// how many different lengths the held texts have, but not on their number. A search allocates memory only for
// what it finds.
class TailIndex {
 public:
  // The positions of one text, in the order in which they were added. Valid as long as the index.
  using Positions = std::span<const std::uint32_t>;

  // Adds a text with its position. Returns the text's number, as in TextNumbers.
  std::uint32_t Add(std::string_view text, std::uint32_t position);
  // To be called after the last `Add` and before the first search.
  void Finish();

  // The positions of exactly this text; empty if it was not added.
  [[nodiscard]] Positions Find(std::string_view text) const;
  // The positions of every held text with which `text` ends.
  [[nodiscard]] std::vector<Positions> FindTails(std::string_view text) const;
  // The positions of every held text T for which `text` ends with T + `suffix`, if T + `suffix` does not
  // occur earlier in `text`.
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
  std::vector<Added> added_;          // until `Finish`
  // The positions of a text, by its number: from begins_[number] to begins_[number + 1].
  std::vector<std::uint32_t> begins_;
  std::vector<std::uint32_t> positions_;
};
