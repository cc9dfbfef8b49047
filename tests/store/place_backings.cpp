#include "store/place_backings.h"

#include "store/doubles.h"
#include "store/place/directory_place.h"
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

// The tests' own place has to keep to the same rules.
class RecordedBacking : public PlaceBacking {
 public:
  std::unique_ptr<Place> Open(const std::string& /*host*/) override {
    return std::make_unique<RecordedPlace>(log_);
  }

 private:
  std::shared_ptr<RecordedPlace::Log> log_ = std::make_shared<RecordedPlace::Log>();
};

}  // namespace

std::vector<PlaceKind> PlaceKinds() {
  return {{"Directory", [] { return std::make_unique<DirectoryBacking>(); }},
          {"Recorded", [] { return std::make_unique<RecordedBacking>(); }}};
}

}  // namespace store
