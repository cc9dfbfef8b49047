#include "support/object_store.h"

#include <gtest/gtest.h>

#include "support/database.h"

namespace support {

std::string BucketSettings(bool /*tls*/) {
  ADD_FAILURE() << "the object store of the tests runs on POSIX systems";
  return "";
}

std::string DatabaseSettings(bool /*tls*/) {
  ADD_FAILURE() << "the database of the tests runs on POSIX systems";
  return "";
}

}  // namespace support
