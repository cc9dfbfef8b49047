// The checksum of stored bytes: XXH3 with 128 bits, in its canonical form. It finds damage, not forgery.
#pragma once

#include <memory>
#include <string_view>

#include "store/base/uid.h"

namespace store {

class Checksum {
 public:
  Checksum();
  Checksum(const Checksum&) = delete;
  Checksum& operator=(const Checksum&) = delete;
  ~Checksum();

  void Add(std::string_view bytes);
  // The checksum of everything that was added.
  [[nodiscard]] Uid Value() const;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace store
