// Brings a directory back with everything that was saved under it, however it was saved.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "restore/placer.h"
#include "store/load/saveset_reader.h"

struct DirectoryRequest {
  std::string asked;
  std::optional<store::Item> item;  // its own record, if it was saved whole or by its first level
  // Where what bears this name goes.
  std::function<std::string(const std::string& name)> placeOf;
  // Why nothing may be restored, asked once there is something to restore; empty if it may.
  std::function<std::string()> whyNot;
};

enum class DirectoryOutcome {
  kNothing,  // the saveset has no such directory
  kFailed,   // something is not in its place, which is told
  kDone      // everything is in its place and on the disk
};
// Other files that wait for the placer go first.
[[nodiscard]] DirectoryOutcome RestoreDirectory(const DirectoryRequest& request, store::SavesetReader& reader,
                                                Placer& placer);
