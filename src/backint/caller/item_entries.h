// The items of a job as they come back from the mover's run: each with what became of it.
#pragma once

#include <string>
#include <vector>

#include "backint/caller/result_line.h"

struct ItemEntry {
  std::string name;
  ItemStatus status = ItemStatus::kDone;
};
using ItemEntries = std::vector<ItemEntry>;

// A status entry as the trace shows it: the name with the digit of its status stuck to its end.
[[nodiscard]] std::string EntryText(const ItemEntry& entry);

// The entries joined by one blank each, only as far as a trace line shows them.
[[nodiscard]] std::string ShownEntries(const ItemEntries& entries);
