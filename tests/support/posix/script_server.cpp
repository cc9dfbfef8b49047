#include "support/script_server.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>

#include "platform/data_file.h"
#include "support/run_program.h"

namespace support {

ScriptServer::ScriptServer(const std::string& script, const std::string& directory) : directory_(directory) {
  const std::string path = SERVER_SCRIPTS "/" + script;
  // What an earlier one said.
  unlink((directory_ + "/ready").c_str());
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
    execlp("bash", "bash", path.c_str(), directory_.c_str(), nullptr);
    _exit(127);
  }
  close(ends[0]);
}

ScriptServer::~ScriptServer() {
  close(holding_);
  if (process_ > 0) {
    waitpid(process_, nullptr, 0);
  }
}

std::string ScriptServer::WaitForAddress() {
  constexpr int kTries = 6000;
  for (int i = 0; i < kTries && process_ > 0; ++i) {
    std::string address = ReadWholeFile(directory_ + "/ready");
    if (!address.empty()) {
      return address.substr(0, address.find('\n'));
    }
    if (waitpid(process_, nullptr, WNOHANG) != 0) {
      process_ = -1;
    }
    usleep(20'000);
  }
  ADD_FAILURE() << "a server of the tests cannot be started in " << directory_;
  return "";
}

}  // namespace support
