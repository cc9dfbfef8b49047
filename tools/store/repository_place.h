// Looks at a repository before it is used. Each thing that can be wrong with it has its own sentence, with
// the path and the system's reason.
#pragma once

#include <string>
#include <vector>

#include "store/place/run_locks.h"
#include "store/server_config.h"
#include "store/status.h"

namespace store {

// The catalog's file, and the locks of the runs. The locks are beside the objects if these are in a
// directory, else beside the catalog's file, or in the user's state directory if the catalog is in a
// database.
[[nodiscard]] std::string CatalogPath(const ServerConfig& config);
[[nodiscard]] RunLocks LocksOf(const ServerConfig& config);
// The paths on this machine that belong to the repository.
[[nodiscard]] std::vector<std::string> OwnPathsOf(const ServerConfig& config);

// What was found where the repository is.
enum class RepositoryState {
  kNone,        // nothing, an empty directory, or what a program left that was killed while it made one
  kHasCatalog,  // a repository with its catalog
  kNeverUsed,   // a repository without catalog, and without anything that a catalog could list
};

// Fails for everything that is there and cannot be used as a repository: this user may not look into it,
// others may write to it, a file is in its place, an older release has made it, or a part of it is lost.
Status LookAtRepository(const ServerConfig& config, RepositoryState& state);

// Refuses a catalog outside the repository if others may write to it or its directory. A missing one is no
// failure.
Status CheckCatalogRights(const ServerConfig& config);

// The message (kMissing) for a caller that needs a repository where there is none.
[[nodiscard]] Status NoRepository(const ServerConfig& config);

// Refuses a file with keys if others may read or write it. A missing one is no failure.
Status CheckKeyFile(const std::string& path);

}  // namespace store
