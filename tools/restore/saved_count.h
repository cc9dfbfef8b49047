// How much there is to bring back, for who waits for it: found out beside the work, and only told.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "store/store.h"

// Calls `each` with one name after the other, as long as the status is good. There may be a million.
using EachName =
    std::function<store::Status(const std::function<store::Status(const std::string& name)>& each)>;

// Counts the files of the savesets (none: all savesets) that bear one of the names or are in a directory that
// does (no names: all of them), over a connection of its own, and calls `store.Work().Expect`, unless it
// `ended` before.
void CountSaved(store::Store& store, const std::vector<store::Saveset>& savesets, const EachName& names,
                const std::function<bool()>& ended);
// The names of a list.
[[nodiscard]] EachName NamesOf(const std::vector<std::string>& names);
