#include "store/place_backings.h"

namespace store {

// The object store of the tests runs on POSIX systems.
std::vector<PlaceKind> PosixPlaceKinds() { return {}; }

}  // namespace store
