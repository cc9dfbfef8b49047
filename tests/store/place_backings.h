// The places that the place's tests run against.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "store/place/place.h"
#include "store/place/s3_client.h"

namespace store {

// A place that is empty at first. `Open` gives the same one each time, as another process would see it;
// `host` is the machine that process is on.
class PlaceBacking {
 public:
  virtual ~PlaceBacking() = default;
  virtual std::unique_ptr<Place> Open(const std::string& host) = 0;
};

struct PlaceKind {
  std::string name;
  std::function<std::unique_ptr<PlaceBacking>()> make;
};
std::vector<PlaceKind> PlaceKinds();

// The bucket of the tests, behind this endpoint.
S3Settings TestBucket(const std::string& endpoint);

}  // namespace store
