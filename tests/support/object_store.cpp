#include "support/object_store.h"

#include "platform/data_file.h"
#include "support/run_program.h"
#include "support/script_server.h"

namespace support {

std::string ObjectStoreEndpoint() {
  static const std::string endpoint = SharedServer("KORVO_TEST_OBJECT_STORE", "object_store.sh");
  return endpoint;
}

std::string FreshPrefix() { return "test-" + platform::RandomName(); }

namespace {

// Started when it is asked for; it ends with the program.
std::string TlsFront() {
  static const TemporaryDirectory place;
  WriteWholeFile(place.File("behind"), ObjectStoreEndpoint());
  static ScriptServer server("tls_front.sh", place.Path());
  static const std::string port = server.WaitForAddress();
  return "\nendpoint = https://localhost:" + port + "\nca_file = " + place.File("ca.pem");
}

}  // namespace

std::string BucketSettings(bool tls) {
  return "repository = s3://" + std::string(kObjectStoreBucket) + "/" + FreshPrefix() +
         (tls ? TlsFront() : "\nendpoint = " + ObjectStoreEndpoint()) + "\naccess_key = " + kObjectStoreUser +
         "\nsecret_key = " + kObjectStoreSecret + "\n";
}

}  // namespace support
