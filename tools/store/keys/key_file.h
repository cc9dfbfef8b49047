// Key files: text that a person can tell apart and print.
#pragma once

#include <string>
#include <string_view>

#include "store/base/uid.h"
#include "store/status.h"

namespace store {

inline constexpr std::size_t kKeySize = 32;

// What a key file says of itself in its first line.
enum class KeyFileKind { kSaversSecret, kPrivateKey };

// A new file for its owner alone, on the disk when the status is good. The file may not exist.
Status WriteKeyFile(const std::string& path, KeyFileKind kind, const Uid& repository, std::string_view key);
// Reads `kKeySize` bytes. The sentence says what is wrong with the file: another kind, another repository.
Status ReadKeyFile(const std::string& path, KeyFileKind kind, const Uid& repository, std::string& key);

}  // namespace store
