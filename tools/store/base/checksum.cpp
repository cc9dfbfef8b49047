#include "store/base/checksum.h"

#include <algorithm>
#include <new>

namespace store {

Checksum::Checksum() : state_(XXH3_createState()) {
  if (state_ == nullptr) {
    throw std::bad_alloc();
  }
  XXH3_128bits_reset(state_.get());
}

void Checksum::Add(std::string_view bytes) { XXH3_128bits_update(state_.get(), bytes.data(), bytes.size()); }

Uid Checksum::Value() const {
  XXH128_canonical_t canonical = {};
  XXH128_canonicalFromHash(&canonical, XXH3_128bits_digest(state_.get()));
  Uid uid;
  std::copy(std::begin(canonical.digest), std::end(canonical.digest), uid.bytes.begin());
  return uid;
}

}  // namespace store
