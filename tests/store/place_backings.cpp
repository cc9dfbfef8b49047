#include "store/place_backings.h"

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

}  // namespace

std::vector<PlaceKind> PlaceKinds() {
  return {{"Directory", [] { return std::make_unique<DirectoryBacking>(); }}};
}

}  // namespace store
