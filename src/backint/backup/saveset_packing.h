// Groups the plain files of a backup into savesets of about the wanted size.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "backint/base/item_list.h"

struct FileRecord {
  std::string name;
  std::int32_t sizeMb = 0;  // whole Mb, not negative
};

// Packs the files by first fit, the largest first; files of equal size keep their order. A saveset is filled
// up to `maximumMb`, and one last file may take it above that by less than a tenth. A file of the maximum
// size or larger gets a saveset of its own, so with a maximum of 0 or less each file gets one. A file that is
// in the list twice, with the same name and size, is packed once.
//
// Returns the savesets in the order of their jobs, each with its names in the order of packing, and at least
// one. Every step is traced at level 3. Without files nothing is traced.
[[nodiscard]] std::vector<ItemList> PackSavesets(std::vector<FileRecord> files, std::int32_t maximumMb);
