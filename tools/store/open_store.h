// What opening a repository and making its catalog anew have in common.
#pragma once

#include <memory>
#include <string>

#include "store/keys/keys.h"
#include "store/place/place.h"
#include "store/repository_place.h"
#include "store/server_config.h"
#include "store/status.h"

namespace store {

[[nodiscard]] std::unique_ptr<Place> PlaceOf(const ServerConfig& config);
// The object that makes the place a repository: no bytes, and a good status, if there is none.
Status ReadRepositoryObject(Place& place, std::string& bytes);
// Fails where the configuration names key files and the repository is not encrypted: somebody may have put
// another one in its place.
Status CheckEncryptionIsMeant(const ServerConfig& config, const Keys& keys);
// Its id, and the keys of the configuration's files as far as they are there.
Status ReadKeys(const ServerConfig& config, const std::string& object, Uid& id, Keys& keys);

}  // namespace store
