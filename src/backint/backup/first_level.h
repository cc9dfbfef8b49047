// A directory whose first level alone goes to the mover: its files, and a marker file for each subdirectory.
#pragma once

#include <string>
#include <vector>

#include "backint/base/item_list.h"

class FirstLevel {
 public:
  FirstLevel() = default;
  FirstLevel(const FirstLevel&) = delete;
  FirstLevel& operator=(const FirstLevel&) = delete;
  // Markers that are still there go, whatever ends the job.
  ~FirstLevel();

  // Makes the markers and gives what goes to the mover. Empty, which is traced, if nothing can: the directory
  // holds nothing or cannot be read, or the name of an entry cannot be handed over.
  [[nodiscard]] ItemList Expand(const std::string& directory);

  // Deletes the marker files of this job, also one that was there before.
  void DeleteMarkers();

 private:
  std::string EntryOrMarker(const std::string& entry);

  std::vector<std::string> markers_;
};
