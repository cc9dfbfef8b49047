// A directory of which only the first level goes to the mover: its files, and a marker file for each
// subdirectory.
#pragma once

#include <string>
#include <vector>

#include "backint/base/item_list.h"

class FirstLevel {
 public:
  FirstLevel() = default;
  FirstLevel(const FirstLevel&) = delete;
  FirstLevel& operator=(const FirstLevel&) = delete;
  // Deletes markers that are still there, however the job ended.
  ~FirstLevel();

  // Creates the markers and returns what the mover is to save. Empty, which is traced, if there is nothing:
  // the directory is empty or cannot be read, or the name of an entry cannot be passed on.
  [[nodiscard]] ItemList Expand(const std::string& directory);

  // Deletes the marker files of this job, even one that existed before.
  void DeleteMarkers();

 private:
  std::string EntryOrMarker(const std::string& entry);

  std::vector<std::string> markers_;
};
