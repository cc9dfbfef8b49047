#include "store/calling_backint.h"

#include <string>

namespace store {

bool CallingBackint(platform::ProcessIdentity& caller) {
  std::string program;
  return platform::ParentProcess(caller, program) && program == "backint";
}

}  // namespace store
