// Finds the item of the run that a line of the data mover confirms.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "backint/base/item_list.h"
#include "backint/base/tail_index.h"

// The forms of an item's name that are compared. `destination` is empty if there is none.
[[nodiscard]] std::string RelocatedName(const std::string& name, const std::string& destination);
[[nodiscard]] std::string WithoutLeadingDotSlash(std::string name);
[[nodiscard]] std::string CheckForm(std::string_view name);  // in capitals, with forward slashes
[[nodiscard]] std::string CheckFormOfLine(std::string_view line);

// Finds the items of a run in the lines of the mover. The time for a line does not grow with the number of
// items.
//
// A name of this system is confirmed only by exactly the same path, and a path that is such a name confirms
// no other item. Any other name is confirmed by a path that ends with it, in upper or lower case. In a
// restore with a destination the names count as moved there.
class ItemMatcher {
 public:
  // Positions count from 0. `names` is borrowed for the life of the object; `destination` is empty if there
  // is none.
  ItemMatcher(const ItemList& names, std::string destination);

  // The first item that an item line confirms. With `directories` (the run is about a directory), an item
  // that is a directory on this machine is confirmed only if a separator follows its name.
  [[nodiscard]] std::optional<std::size_t> FindConfirmed(const std::string& line,
                                                         bool directories = false) const;

  struct Match {
    std::size_t position;
    std::string listForm;  // the item's own name; the next items are compared with it, not with the path
  };
  // The items that a reported path matches, in their order. After each match, the name of the matched item
  // takes the place of the path for the items that follow. Empty if none matches. Once there is a match, an
  // item with the same name as the last match changes nothing; such items are left out unless `all` is set.
  [[nodiscard]] std::vector<Match> MatchPath(const std::string& path, bool all = false) const;

  // An item's own name, with the separators of its kind.
  [[nodiscard]] std::string ListForm(std::size_t position) const;

 private:
  using Positions = TailIndex::Positions;
  using Rows = std::vector<Positions>;
  // For each form, by its number, the last item so far.
  using LastOfForm = std::vector<std::uint32_t>;
  void Add(const std::string& name, LastOfForm& lastOfSystemForm, LastOfForm& lastOfTakeForm);
  [[nodiscard]] Rows FindConfirming(const std::string& line, std::string_view separator) const;
  [[nodiscard]] std::optional<std::size_t> FindDirectoryOrFile(const std::string& line) const;
  [[nodiscard]] Rows FindCandidates(const std::string& path, bool systemPath) const;
  [[nodiscard]] std::optional<std::size_t> NextMatch(Positions candidates, std::optional<std::size_t> last,
                                                     const std::string* nameToSkip) const;

  const ItemList& names_;
  std::string destination_;
  // Among the items of one form, neighbours with the same name have the same number.
  std::vector<std::uint32_t> repetitions_;
  TailIndex checkTails_;
  TailIndex takeTails_;
  TailIndex systemNames_;
};
