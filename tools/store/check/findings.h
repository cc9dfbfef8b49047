// What a check reports while it goes on.
#pragma once

#include <functional>
#include <string>

#include "store/base/uid.h"
#include "store/status.h"

namespace store {

struct Damage {
  std::string what;  // a sentence
  Uid pack;          // null if it is about no pack
};

struct CheckListener {
  std::function<void(const Damage& damage)> damaged;
  // An item of a saveset that cannot be restored because of the damage that was told last.
  std::function<void(const std::string& saveset, const std::string& item)> lost;
};

}  // namespace store
