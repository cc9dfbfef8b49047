#include "store/digest.h"

#include <new>

namespace store {

Digest::Digest() : state_(XXH3_createState()) {
  if (state_ == nullptr) {
    throw std::bad_alloc();
  }
  Reset();
}

void Digest::Reset() { XXH3_128bits_reset(state_.get()); }

void Digest::Add(std::string_view bytes) { XXH3_128bits_update(state_.get(), bytes.data(), bytes.size()); }

std::string Digest::Value() const {
  XXH128_canonical_t canonical = {};
  XXH128_canonicalFromHash(&canonical, XXH3_128bits_digest(state_.get()));
  return std::string(reinterpret_cast<const char*>(canonical.digest), sizeof canonical.digest);
}

}  // namespace store
