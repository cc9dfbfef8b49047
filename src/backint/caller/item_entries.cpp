#include "backint/caller/item_entries.h"

std::string EntryText(const ItemEntry& entry) {
  return entry.name + std::to_string(static_cast<int>(entry.status));
}

std::string ShownEntries(const ItemEntries& entries) {
  std::string shown;
  for (const ItemEntry& entry : entries) {
    if (shown.size() >= kShownMessageWidth) {
      break;
    }
    shown += (shown.empty() ? "" : " ") + EntryText(entry);
  }
  return shown;
}
