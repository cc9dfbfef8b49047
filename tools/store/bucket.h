// A repository in a bucket. Its catalog is kept elsewhere, in a file or in a database.
#pragma once

#include <memory>

#include "store/place/place.h"
#include "store/place/run_locks.h"
#include "store/repository_place.h"
#include "store/server_config.h"
#include "store/status.h"

namespace store {

// The bucket that the configuration names. Sends no request yet.
[[nodiscard]] std::unique_ptr<Place> BucketOf(const ServerConfig& config);

// Does for a bucket what LookAtRepository does for a directory. It asks the server, so a missing bucket or
// wrong keys are reported at once.
Status LookAtBucket(const ServerConfig& config, RepositoryState& state);

}  // namespace store
