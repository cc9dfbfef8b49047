#include "support/object_store.h"

#include "platform/data_file.h"
#include "support/script_server.h"

namespace support {

std::string ObjectStoreEndpoint() {
  static const std::string endpoint = SharedServer("KORVO_TEST_OBJECT_STORE", "object_store.sh");
  return endpoint;
}

std::string FreshPrefix() { return "test-" + platform::RandomName(); }

std::string BucketSettings() {
  return "repository = s3://" + std::string(kObjectStoreBucket) + "/" + FreshPrefix() +
         "\nendpoint = " + ObjectStoreEndpoint() + "\naccess_key = " + kObjectStoreUser +
         "\nsecret_key = " + kObjectStoreSecret + "\n";
}

}  // namespace support
