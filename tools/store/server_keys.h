// The keys that a section of the configuration (server_config.h) may have.
#pragma once

#include <span>
#include <string>

#include "store/server_config.h"

namespace store {

struct ServerKey {
  const char* name;
  // Takes the value over. Gives what would be right, or nothing if the value is.
  std::string (*read)(const std::string& value, ServerConfig& config);
  bool secret = false;  // the value is never shown
};

// Sorted by what a person would look for first.
[[nodiscard]] std::span<const ServerKey> ServerKeys();

}  // namespace store
