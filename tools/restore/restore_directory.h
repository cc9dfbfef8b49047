// Restores a directory with everything that was saved under it, whether as a whole or item by item.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "restore/placer.h"
#include "store/load/saveset_reader.h"

struct DirectoryRequest {
  std::string asked;
  std::optional<store::Item> item;  // its own record, if it was saved whole or by its first level
  // Where an item of this name goes.
  std::function<std::string(const std::string& name)> placeOf;
  // Why nothing may be restored; empty if it may. Called once there is something to restore.
  std::function<std::string()> whyNot;
};

enum class DirectoryOutcome {
  kNothing,  // the saveset has no such directory
  kFailed,   // something is not in its place, and the teller was told
  kDone      // everything is in its place and on the disk
};
// Files that already wait in the placer are settled first.
[[nodiscard]] DirectoryOutcome RestoreDirectory(const DirectoryRequest& request, store::SavesetReader& reader,
                                                Placer& placer);
