// A repository, looked at before it is used: each thing that can be wrong with it has its
// own sentence, with the path and the system's reason.
#pragma once

#include <string>
#include <vector>

#include "store/place/run_locks.h"
#include "store/server_config.h"
#include "store/status.h"

namespace store {

// The catalog's file, and the locks of the runs: in a directory beside the objects, else beside the catalog.
[[nodiscard]] std::string CatalogPath(const ServerConfig& config);
[[nodiscard]] RunLocks LocksOf(const ServerConfig& config);
// What on this machine belongs to the repository.
[[nodiscard]] std::vector<std::string> OwnPathsOf(const ServerConfig& config);

// What was found where the repository is.
enum class RepositoryState {
  kNone,        // nothing, or an empty directory, or what a program left that was killed while it made one
  kHasCatalog,  // a repository with its catalog
  kNeverUsed,   // a repository without catalog, and without anything that could be in one
};

// Fails for all that is there and cannot be used as a repository: what this user may not look into or others
// may write, a file in its place, one of an older release, one that lost a part.
Status LookAtRepository(const ServerConfig& config, RepositoryState& state);

// Refuses a catalog outside the repository that others may write. One that is not there is none.
Status CheckCatalogRights(const ServerConfig& config);

// The sentence for who needs a repository where there is none.
[[nodiscard]] Status NoRepository(const ServerConfig& config);

// Files that contain keys: refused if others may read or write them. One that is not there is none.
Status CheckKeyFile(const std::string& path);

}  // namespace store
