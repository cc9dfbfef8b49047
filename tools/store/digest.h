// The 128-bit hash that guards blocks and items.
#pragma once

#include <xxhash.h>

#include <memory>
#include <string>
#include <string_view>

namespace store {

inline constexpr std::size_t kDigestSize = 16;

class Digest {
 public:
  Digest();
  void Reset();
  void Add(std::string_view bytes);
  // The hash of everything added since the last reset, the same on every machine.
  [[nodiscard]] std::string Value() const;

 private:
  struct Releaser {
    void operator()(XXH3_state_t* state) const { XXH3_freeState(state); }
  };
  std::unique_ptr<XXH3_state_t, Releaser> state_;
};

}  // namespace store
