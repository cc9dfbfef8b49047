// The checksum of stored bytes: XXH3 with 128 bits, in its canonical form. It finds damage, not forgery.
#pragma once

#include <xxhash.h>

#include <memory>
#include <string_view>

#include "store/base/uid.h"

namespace store {

class Checksum {
 public:
  Checksum();
  void Add(std::string_view bytes);
  // Of everything that was added.
  [[nodiscard]] Uid Value() const;

 private:
  struct Releaser {
    void operator()(XXH3_state_t* state) const { XXH3_freeState(state); }
  };
  std::unique_ptr<XXH3_state_t, Releaser> state_;
};

}  // namespace store
