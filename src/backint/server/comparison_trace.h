// Traces how a line of the mover was compared with the items of the run. The ItemMatcher decides; its
// decisions do not depend on this trace.
#pragma once

#include <optional>
#include <string>

#include "backint/caller/item_sources.h"
#include "backint/server/item_matcher.h"

// One object for each job. In a job of more than 250 items the single comparisons are left out, because they
// grow with the square of the number of items. One line says so, once.
class ComparisonTrace {
 public:
  // `items` and `matcher` are borrowed for the life of the object. `destination` is empty if there is none.
  ComparisonTrace(const ItemReading& items, const ItemMatcher& matcher, std::string destination)
      : items_(items), matcher_(matcher), destination_(std::move(destination)) {}

  // Traces how an item line was searched for the item that it confirms; `directories` as in the search.
  void TellSearch(const std::string& line, bool directories, std::optional<std::size_t> confirmed);

  // Traces how the reported path was compared with the items, and what it matched.
  void TellTaking(const std::string& path);

  // The same for the restore of a directory, which has only one item.
  void TellDirectoryTaking(const std::string& path);

  // Whether single comparisons are traced in this job. If not, the first call writes the line that says so.
  [[nodiscard]] bool ShowsComparisons();

 private:
  void TellReading();
  std::string TellRecord(const std::string& name, bool directories);
  void TellMatch(const ItemMatcher::Match& match);
  [[nodiscard]] std::string TakenRecord(std::size_t position);

  const ItemReading& items_;
  const ItemMatcher& matcher_;
  std::string destination_;  // gets a separator at its end when the first name is relocated
  bool announced_ = false;
};
