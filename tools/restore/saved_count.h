// How much there is to bring back, for who waits for it: found out beside the work, and only told.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "store/store.h"

// Counts the files of the savesets (none: all savesets) that bear one of the names or are in a directory that
// does (no names: all of them), over a connection of its own, and calls `store.Work().Expect`, unless it
// `ended` before.
void CountSaved(store::Store& store, const std::vector<store::Saveset>& savesets,
                const std::vector<std::string>& names, const std::function<bool()>& ended);
