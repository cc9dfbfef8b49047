// Which item of the run a line of the data mover confirms.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "backint/base/item_list.h"
#include "backint/base/tail_index.h"

// The forms of an item's name that the comparisons work on. `destination` is empty without one.
[[nodiscard]] std::string RelocatedName(const std::string& name, const std::string& destination);
[[nodiscard]] std::string WithoutLeadingDotSlash(std::string name);
[[nodiscard]] std::string CheckForm(std::string_view name);  // in capitals, with forward slashes
[[nodiscard]] std::string CheckFormOfLine(std::string_view line);

// Looks up the items of a run in the lines of the mover; the work per line does not grow with their number.
//
// A name of this system is confirmed by exactly itself, and a path that is such an item confirms nothing
// else; any other name by a path that ends in it, without regard to letter case. In a restore with a
// destination the names count as moved there.
class ItemMatcher {
 public:
  // Positions count from 0. `names` is borrowed for its life; `destination` is empty without one.
  ItemMatcher(const ItemList& names, std::string destination);

  // The first item that an item line confirms. With `directories` set (the run is about a directory) an item
  // that is a directory on this machine is confirmed only with a separator behind its name.
  [[nodiscard]] std::optional<std::size_t> FindConfirmed(const std::string& line,
                                                         bool directories = false) const;

  struct Match {
    std::size_t position;
    std::string listForm;  // the item's own name; it takes the reported path's place for later items
  };
  // The items that a reported path matches, one after the other, each compared with the path as the one
  // before left it. Empty: none does. Behind the first, an item whose name the path has already changes
  // nothing and is left out unless `all` is set.
  [[nodiscard]] std::vector<Match> MatchPath(const std::string& path, bool all = false) const;

  // An item's own name, with the separators of its kind.
  [[nodiscard]] std::string ListForm(std::size_t position) const;

 private:
  using Positions = TailIndex::Positions;
  using Rows = std::vector<Positions>;
  // The last item so far of each form, by the form's number.
  using LastOfForm = std::vector<std::uint32_t>;
  void Add(const std::string& name, LastOfForm& lastOfSystemForm, LastOfForm& lastOfTakeForm);
  [[nodiscard]] Rows FindConfirming(const std::string& line, std::string_view separator) const;
  [[nodiscard]] std::optional<std::size_t> FindDirectoryOrFile(const std::string& line) const;
  [[nodiscard]] Rows FindCandidates(const std::string& path, bool systemPath) const;
  [[nodiscard]] std::optional<std::size_t> NextMatch(Positions candidates, std::optional<std::size_t> last,
                                                     const std::string* nameToSkip) const;

  const ItemList& names_;
  std::string destination_;
  // Items that are taken by the same form and follow one another under the same name have the same number.
  std::vector<std::uint32_t> repetitions_;
  TailIndex checkTails_;
  TailIndex takeTails_;
  TailIndex systemNames_;
};
