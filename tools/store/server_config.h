// Where a server keeps its repository, and how.
#pragma once

#include <string>

#include "store/status.h"

namespace store {

struct ServerConfig {
  std::string section;     // by which the data mover finds the same server again
  std::string repository;  // its directory
  int compression = 3;     // 0 (none) to 19
};

// Finds the settings of a server, named as `server[:port][:user:password]`, in the file that the environment
// variable KORVO_CONFIG names, else in `korvo.ini` beside the running program: in the section of its name, or
// in [DEFAULT] if the file has none. Without a file the repository lies in the user's state directory.
Status ReadServerConfig(const std::string& login, ServerConfig& config);

}  // namespace store
