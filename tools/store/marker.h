// The marker files by which the program carries a subdirectory into the saveset of a directory's first level.
#pragma once

#include "store/catalog.h"

namespace store {

// Whether the item is such a file, by its name and its content. It stands for the directory that it lies in.
[[nodiscard]] bool IsMarker(const Item& item);

}  // namespace store
