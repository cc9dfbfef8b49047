// A real store that speaks the S3 protocol, for the tests: tests/servers/object_store.sh.
#pragma once

#include <string>

namespace support {

inline constexpr const char* kObjectStoreUser = "test:tester";
inline constexpr const char* kObjectStoreSecret = "testing";
inline constexpr const char* kObjectStoreBucket = "bucket";

// Its endpoint. It is that of the environment variable KORVO_TEST_OBJECT_STORE, which many test programs can
// share, else one that is started for this program and ends with it. Empty, and a failure of the test, if it
// cannot be started; on Windows it never can.
std::string ObjectStoreEndpoint();

// A prefix in the bucket that no other test has.
std::string FreshPrefix();

// The settings of korvo.ini for a repository of its own in the bucket, but that of its catalog. With TLS,
// tests/servers/tls_front.sh stands before it.
std::string BucketSettings(bool tls = false);

}  // namespace support
