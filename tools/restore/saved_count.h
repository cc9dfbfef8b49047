// Counts what there is to restore, to show the progress. Runs beside the work; nothing else depends on it.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "store/store.h"

// Calls `each` with one name after the other, as long as the status is good. There may be a million names.
using EachName =
    std::function<store::Status(const std::function<store::Status(const std::string& name)>& each)>;

// Counts the files of the savesets (none: of all) that have one of the names or are in a directory that has
// one (no names: all files), over a connection of its own. Then calls `store.Work().Expect`, unless `ended`
// says before that the work is over.
void CountSaved(store::Store& store, const std::vector<store::Saveset>& savesets, const EachName& names,
                const std::function<bool()>& ended);
// The names of a list, which must outlive the result. For an empty list the result is empty: all files.
[[nodiscard]] EachName NamesOf(const std::vector<std::string>& names);
