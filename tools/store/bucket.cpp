#include "store/bucket.h"

#include "platform/platform.h"
#include "store/place/s3_place.h"

namespace store {
namespace {

S3Settings SettingsOf(const BucketConfig& bucket) {
  S3Settings settings;
  settings.endpoint = bucket.endpoint;
  settings.region = bucket.region;
  settings.bucket = bucket.name;
  settings.pathStyle = bucket.pathStyle;
  settings.accessKey = bucket.accessKey;
  settings.secretKey = bucket.secretKey;
  settings.caFile = bucket.caFile;
  return settings;
}

// Whether any object's name begins with the prefix. A prefix with a slash at its end is a directory.
Status HasAny(Place& place, const std::string& prefix, bool& any) {
  any = false;
  const Status listed = place.List(prefix, [&any](const std::string&, std::uint64_t) {
    any = true;
    return Status::Failed("one is enough");
  });
  return any ? Status() : listed;
}

// The object that makes a repository may only be missing if there are no packs either.
Status CheckIsEmpty(const ServerConfig& config, Place& place) {
  bool packs = false;
  if (Status looked = HasAny(place, kPackPrefix, packs); !looked || !packs) {
    return looked;
  }
  return Status::Damaged("its object \"" + std::string(kRepositoryObject) +
                         "\" is missing beside its packs: korvo rebuild " + config.section +
                         " brings it back if the catalog has a copy");
}

Status CheckWasNeverUsed(const ServerConfig& config, Place& place) {
  bool packs = false;
  bool savesets = false;
  Status looked = HasAny(place, kPackPrefix, packs);
  if (looked && !packs) {
    looked = HasAny(place, kSavesetPrefix, savesets);
  }
  return looked && (packs || savesets)
             ? Status::Damaged("its catalog, " + CatalogPath(config) + ", is missing: korvo rebuild " +
                               config.section + " makes it anew from the packs")
             : looked;
}

}  // namespace

std::unique_ptr<Place> BucketOf(const ServerConfig& config) {
  return std::make_unique<S3Place>(SettingsOf(config.bucket), config.bucket.prefix, LocksOf(config));
}

Status LookAtBucket(const ServerConfig& config, RepositoryState& state) {
  state = RepositoryState::kNone;
  if (Status rights = config.database.empty() ? CheckCatalogRights(config) : Status(); !rights) {
    return rights;
  }
  const std::unique_ptr<Place> place = BucketOf(config);
  std::optional<std::uint64_t> size;
  if (Status asked = place->Size(kRepositoryObject, size); !asked) {
    return asked;
  }
  if (!size) {
    return CheckIsEmpty(config, *place);
  }
  if (!config.database.empty() || platform::Exists(CatalogPath(config))) {
    state = RepositoryState::kHasCatalog;
    return {};
  }
  state = RepositoryState::kNeverUsed;
  return CheckWasNeverUsed(config, *place);
}

}  // namespace store
