// A repository in a bucket, whose catalog is elsewhere: looked at before it is used, and opened as a place.
#pragma once

#include <memory>

#include "store/place/place.h"
#include "store/place/run_locks.h"
#include "store/repository_place.h"
#include "store/server_config.h"
#include "store/status.h"

namespace store {

[[nodiscard]] std::unique_ptr<Place> BucketOf(const ServerConfig& config);

// As LookAtRepository does it for a directory: asks the server, so that a bucket that is not there, or keys
// that are wrong, are told in the first sentence.
Status LookAtBucket(const ServerConfig& config, RepositoryState& state);

}  // namespace store
