#include "store/status.h"

#include "platform/failures.h"

namespace store {

Status OfSystem(const std::string& why) {
  return platform::MeansNoRoom(why) ? Status::NoRoom(why) : Status::Failed(why);
}

}  // namespace store
