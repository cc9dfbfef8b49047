// Brings a directory back with everything that was saved under it, however it was saved.
#pragma once

#include <string>
#include <vector>

#include "store/catalog.h"
#include "xfr/placer.h"

struct DirectoryContent {
  std::string name;                // as it was saved
  std::vector<store::Item> items;  // itself, if it was saved whole, and all below it; holders first
};

// True if everything is in its place and on the disk. Other files that wait for the placer go first.
[[nodiscard]] bool RestoreDirectory(const DirectoryContent& content, const std::string& place,
                                    Placer& placer);
