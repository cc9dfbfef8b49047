#include "store/place_backings.h"

#include "store/place/directory_place.h"
#include "store/place/s3_place.h"
#include "support/object_store.h"
#include "support/run_program.h"

namespace store {
namespace {

class DirectoryBacking : public PlaceBacking {
 public:
  std::unique_ptr<Place> Open(const std::string& host) override {
    return std::make_unique<DirectoryPlace>(directory_.Path(), host);
  }

 private:
  support::TemporaryDirectory directory_;
};

class BucketBacking : public PlaceBacking {
 public:
  std::unique_ptr<Place> Open(const std::string& host) override {
    return std::make_unique<S3Place>(TestBucket(support::ObjectStoreEndpoint()), prefix_ + "/",
                                     RunLocks(runs_.File("runs"), host, RunLocks::Whose::kEverybodys));
  }

 private:
  support::TemporaryDirectory runs_;
  std::string prefix_ = support::FreshPrefix();
};

}  // namespace

S3Settings TestBucket(const std::string& endpoint) {
  S3Settings settings;
  settings.endpoint = endpoint;
  settings.region = "us-east-1";
  settings.bucket = support::kObjectStoreBucket;
  settings.accessKey = support::kObjectStoreUser;
  settings.secretKey = support::kObjectStoreSecret;
  return settings;
}

std::vector<PlaceKind> PlaceKinds() {
  return {{"Directory", [] { return std::make_unique<DirectoryBacking>(); }},
          {"Bucket", [] { return std::make_unique<BucketBacking>(); }}};
}

}  // namespace store
