// A repository that is a directory, looked at before it is used: each thing that can be wrong with it has its
// own sentence, with the path and the system's reason.
#pragma once

#include <string>

#include "store/server_config.h"
#include "store/status.h"

namespace store {

// What was found in the directory.
enum class RepositoryState {
  kNone,        // nothing, or an empty directory, or what a program left that was killed while it made one
  kHasCatalog,  // a repository with its catalog
  kNeverUsed,   // a repository without catalog, and without anything that could be in one
};

// Fails for all that is there and cannot be used as a repository: what this user may not look into or others
// may write, a file in its place, one of an older release, one that lost a part.
Status LookAtRepository(const ServerConfig& config, RepositoryState& state);

// The sentence for who needs a repository where there is none.
[[nodiscard]] Status NoRepository(const ServerConfig& config);

// Files that contain keys: refused if others may read or write them. One that is not there is none.
Status CheckKeyFile(const std::string& path);

}  // namespace store
