// What the opening of a repository and the rebuild of its catalog have in common.
#pragma once

#include <memory>
#include <string>

#include "store/keys/keys.h"
#include "store/place/place.h"
#include "store/server_config.h"
#include "store/status.h"

namespace store {

[[nodiscard]] std::unique_ptr<Place> PlaceOf(const ServerConfig& config);
// Reads the object that makes the place a repository. If there is none, `bytes` is empty and the status is
// good.
Status ReadRepositoryObject(Place& place, std::string& bytes);
// Fails if the configuration names key files, but the repository is not encrypted: somebody may have put
// another one in its place.
Status CheckEncryptionIsMeant(const ServerConfig& config, const Keys& keys);
// Reads the repository's id from its object, and the keys from the configuration's files as far as they are
// there.
Status ReadKeys(const ServerConfig& config, const std::string& object, Uid& id, Keys& keys);

}  // namespace store
