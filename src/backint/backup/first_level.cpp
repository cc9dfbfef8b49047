#include "backint/backup/first_level.h"

#include <algorithm>
#include <new>
#include <string_view>

#include "backint/base/path.h"
#include "backint/base/trace.h"
#include "backint/server/dir_marker.h"
#include "platform/platform.h"

namespace {

constexpr const char* kTraceSource = "backint_back";

// Whether the name of an entry cannot be passed on to anybody. Then the directory is not saved at all.
bool RefusesEntry(const std::string& name, const std::string& path) {
  if (name.find('\n') != std::string::npos) {
    std::string shown = path;
    std::replace(shown.begin(), shown.end(), '\n', '?');
    TRACE(1, "ERROR: a name with a line break cannot be backed up: %s.", shown.c_str());
    return true;
  }
  if (name.find('\\') != std::string::npos) {
    TRACE(1, "ERROR: a name with a backslash cannot be backed up: %s.", path.c_str());
    return true;
  }
  // A list of items shows where a name ends by nothing else.
  if (!name.empty() && std::string_view(" \t\r").find(name.back()) != std::string_view::npos) {
    TRACE(1, "ERROR: a name with a blank at its end cannot be backed up: [%s].", path.c_str());
    return true;
  }
  return false;
}

}  // namespace

ItemList FirstLevel::Expand(const std::string& directory) {
  TRACE(3, "INFO: .... Backup directory [%s] first level ....", directory.c_str());
  const ItemList names = ListFirstLevel(directory);
  if (names.Empty()) {
    TRACE(1, "ERROR: Directory is empty.");
  }
  const std::string front = WithSeparator(directory, platform::SeparatorOf(directory));
  if (std::any_of(names.begin(), names.end(),
                  [&](const std::string& name) { return RefusesEntry(name, front + name); })) {
    return {};
  }
  ItemList items;
  for (const std::string& name : names) {
    const std::string entry = EntryOrMarker(front + name);
    items.Push(entry);
    TRACE(3, "INFO: First level directory item: [%s].", entry.c_str());
  }
  return items;
}

// What the mover gets for an entry: the entry itself, or for a directory its marker file, which is created.
std::string FirstLevel::EntryOrMarker(const std::string& entry) {
  if (!IsDirectory(entry)) {
    return entry;
  }
  std::string marker = DirMarkerPath(entry);
  markers_.push_back(marker);
  if (CreateDirMarker(marker) == RunResult::kFailure) {
    markers_.pop_back();
  }
  return marker;
}

FirstLevel::~FirstLevel() {
  for (const std::string& marker : markers_) {
    try {
      platform::RemoveFile(marker);
    } catch (const std::bad_alloc&) {
      continue;  // it stays
    }
  }
}

void FirstLevel::DeleteMarkers() {
  for (const std::string& marker : markers_) {
    DeleteDirMarker(marker);
  }
  markers_ = {};
}
