#include "backint/backup/first_level.h"

#include <algorithm>

#include "backint/base/path.h"
#include "backint/base/trace.h"
#include "backint/caller/input_list.h"
#include "backint/server/dir_marker.h"

namespace {

constexpr const char* kTraceSource = "backint_back";

// Whether the name of an entry can be told to nobody, so that the directory is not saved at all.
bool RefusesEntry(const std::string& entry) {
  if (entry.find('\n') != std::string::npos) {
    std::string shown = entry;
    std::replace(shown.begin(), shown.end(), '\n', '?');
    TRACE(1, "ERROR: a name with a line break cannot be backed up: %s.", shown.c_str());
    return true;
  }
  if (IsUnsavableName(entry)) {
    TRACE(1, "ERROR: a name with a backslash cannot be backed up: %s.", entry.c_str());
    return true;
  }
  return false;
}

}  // namespace

ItemList FirstLevel::Expand(const std::string& directory) {
  TRACE(3, "INFO: .... Backup directory [%s] first level ....", directory.c_str());
  const ItemList entries = ListFirstLevel(directory);
  if (entries.Empty()) {
    TRACE(1, "ERROR: Directory is empty.");
  }
  if (std::any_of(entries.begin(), entries.end(), RefusesEntry)) {
    return {};
  }
  ItemList items;
  for (std::string entry : entries) {
    if (IsDirectory(entry) && CreateDirMarker(entry) == RunResult::kSuccess) {
      markers_.Push(entry);
    }
    items.Push(entry);
    TRACE(3, "INFO: First level directory item: [%s].", entry.c_str());
  }
  return items;
}

void FirstLevel::DeleteMarkers() {
  for (const std::string& marker : markers_) {
    DeleteDirMarker(marker);
  }
  markers_ = {};
}
