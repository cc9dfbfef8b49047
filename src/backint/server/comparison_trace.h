// Tells in the trace how a line of the mover was compared with the items of the run. The verdicts come from
// the ItemMatcher and are the same whether anybody reads this.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "backint/caller/item_sources.h"
#include "backint/server/item_matcher.h"

// One for each job. In a job of more than 250 items the single comparisons are left out, since they grow with
// the square of the items; a line that says so stands in their place, once.
class ComparisonTrace {
 public:
  // `items` and `matcher` are borrowed for its life. `destination` is empty without one.
  ComparisonTrace(const ItemReading& items, const ItemMatcher& matcher, std::string destination)
      : items_(items), matcher_(matcher), destination_(std::move(destination)) {}

  // The search of an item line for the item that it confirms; `directories` as the search had it.
  void TellSearch(const std::string& line, bool directories, std::optional<std::size_t> confirmed);

  // The comparison of the reported path with the items, and what it matched.
  void TellTaking(const std::string& path);

  // The same in the restore of a directory, whose one item the path names or not.
  void TellDirectoryTaking(const std::string& path);

  // Whether single comparisons are told in this job; the line in their place is written if not.
  [[nodiscard]] bool ShowsComparisons();

 private:
  void TellReading();
  std::string TellRecord(const std::string& name, bool directories);
  void TellMatch(const ItemMatcher::Match& match);
  [[nodiscard]] std::string TakenRecord(std::size_t position);

  const ItemReading& items_;
  const ItemMatcher& matcher_;
  std::string destination_;  // gets a separator at its end at the first relocation
  bool announced_ = false;
};
