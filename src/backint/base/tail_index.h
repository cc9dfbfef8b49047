// Finds which of many texts another text ends in.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

// Holds texts with a position each. The work of a search depends on the length of the searched text and on
// how many different lengths the texts have, not on their number.
class TailIndex {
 public:
  // The positions of one text, in the order of adding.
  using Positions = std::vector<std::size_t>;

  void Add(const std::string& text, std::size_t position);

  // Every text that `text` ends in.
  [[nodiscard]] std::vector<const Positions*> FindTails(const std::string& text) const;
  // Every text that `text` ends in with `suffix` behind it, if the two together occur there for the first
  // time.
  [[nodiscard]] std::vector<const Positions*> FindFirstTails(const std::string& text,
                                                             std::string_view suffix = "") const;

 private:
  template <typename Accepts>
  [[nodiscard]] std::vector<const Positions*> Find(std::string_view text, const Accepts& accepts) const;

  std::unordered_map<std::string, Positions> positions_;
  std::vector<std::size_t> lengths_;  // distinct, rising
};
