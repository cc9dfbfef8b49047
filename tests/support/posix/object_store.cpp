#include "support/object_store.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>

#include "platform/data_file.h"
#include "platform/platform.h"
#include "support/run_program.h"

namespace support {
namespace {

class OwnServer {
 public:
  OwnServer() {
    std::array<int, 2> ends = {};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
      return;
    }
    holding_ = ends[1];
    process_ = fork();
    if (process_ == 0) {
      dup2(ends[0], STDIN_FILENO);
      // Not interrupted with the tests: it ends with its input.
      setsid();
      execlp("bash", "bash", OBJECT_STORE_SCRIPT, directory_.Path().c_str(), nullptr);
      _exit(127);
    }
    close(ends[0]);
  }
  OwnServer(const OwnServer&) = delete;
  OwnServer& operator=(const OwnServer&) = delete;
  ~OwnServer() {
    close(holding_);
    if (process_ > 0) {
      waitpid(process_, nullptr, 0);
    }
  }

  std::string WaitForEndpoint() {
    constexpr int kTries = 1200;
    for (int i = 0; i < kTries && waitpid(process_, nullptr, WNOHANG) == 0; ++i) {
      std::string endpoint = ReadWholeFile(directory_.File("ready"));
      if (!endpoint.empty()) {
        endpoint.resize(endpoint.find('\n'));
        return endpoint;
      }
      usleep(100'000);
    }
    return "";
  }

 private:
  TemporaryDirectory directory_;
  int holding_ = -1;
  pid_t process_ = -1;
};

}  // namespace

std::string ObjectStoreEndpoint() {
  static const std::string endpoint = [] {
    std::string shared;
    if (platform::EnvironmentVariable("KORVO_TEST_OBJECT_STORE", shared)) {
      return shared;
    }
    static OwnServer server;
    return server.WaitForEndpoint();
  }();
  EXPECT_NE(endpoint, "") << "the object store of the tests cannot be started";
  return endpoint;
}

std::string FreshPrefix() { return "test-" + platform::RandomName(); }

std::string BucketSettings(const std::string& directory) {
  return "repository = s3://" + std::string(kObjectStoreBucket) + "/" + FreshPrefix() +
         "\ncatalog = " + directory + "/catalog/prod.db\nendpoint = " + ObjectStoreEndpoint() +
         "\naccess_key = " + kObjectStoreUser + "\nsecret_key = " + kObjectStoreSecret + "\n";
}

}  // namespace support
