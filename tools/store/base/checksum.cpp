#include "store/base/checksum.h"

#include <xxhash.h>

#include <algorithm>

namespace store {

struct Checksum::State {
  XXH3_state_t hash;
};

Checksum::Checksum() : state_(std::make_unique<State>()) { XXH3_128bits_reset(&state_->hash); }
Checksum::~Checksum() = default;

void Checksum::Add(std::string_view bytes) { XXH3_128bits_update(&state_->hash, bytes.data(), bytes.size()); }

Uid Checksum::Value() const {
  XXH128_canonical_t canonical = {};
  XXH128_canonicalFromHash(&canonical, XXH3_128bits_digest(&state_->hash));
  Uid uid;
  std::copy(std::begin(canonical.digest), std::end(canonical.digest), uid.bytes.begin());
  return uid;
}

}  // namespace store
