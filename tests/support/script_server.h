// A server that a script of tests/servers runs. On Windows it is never started, only found.
#pragma once

#include <string>

namespace support {

class ScriptServer {
 public:
  // Starts the script, which keeps its files in the directory. The server ends with this object, however that
  // ends.
  ScriptServer(const std::string& script, const std::string& directory);
  ScriptServer(const ScriptServer&) = delete;
  ScriptServer& operator=(const ScriptServer&) = delete;
  ~ScriptServer();

  // The line by which the server is found, once it answers; empty, and a failure of the test, if it never
  // does.
  std::string WaitForAddress();

 private:
  std::string directory_;
  int holding_ = -1;
  int process_ = -1;
};

// The address in this environment variable, of a server that many test programs share; without it that of one
// which is started for this program. One call for each script.
std::string SharedServer(const std::string& variable, const std::string& script);

}  // namespace support
