// The keys that a section of the configuration (server_config.h) may have.
#pragma once

#include <span>
#include <string>

#include "store/server_config.h"

namespace store {

struct ServerKey {
  const char* name;
  // Takes the value into `config`. The result says what would be right, and is empty if the value is.
  std::string (*read)(const std::string& value, ServerConfig& config);
  bool secret = false;  // the value is never shown
};

// In the order in which a person would look for them.
[[nodiscard]] std::span<const ServerKey> ServerKeys();

}  // namespace store
