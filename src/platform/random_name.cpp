#include <array>

#include "platform/data_file.h"
#include "platform/internal.h"

namespace platform {

std::string RandomName() {
  constexpr std::string_view kLetters = "abcdefghijklmnopqrstuvwxyz234567";
  std::array<unsigned char, 26> bytes = {};
  if (!internal::RandomBytes(bytes.data(), bytes.size())) {
    return "";
  }
  std::string name;
  for (const unsigned char byte : bytes) {
    name += kLetters[byte % kLetters.size()];
  }
  return name;
}

}  // namespace platform
