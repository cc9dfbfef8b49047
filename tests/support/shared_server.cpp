#include <map>

#include "platform/data_file.h"
#include "support/run_program.h"
#include "support/script_server.h"

namespace support {

std::string SharedServer(const std::string& variable, const std::string& script) {
  std::string address;
  if (platform::EnvironmentVariable(variable, address)) {
    return address;
  }
  struct Own {
    explicit Own(const std::string& script) : server(script, directory.Path()) {}
    TemporaryDirectory directory;
    ScriptServer server;
  };
  static std::map<std::string, Own> own;
  return own.try_emplace(script, script).first->second.server.WaitForAddress();
}

}  // namespace support
