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

// A new file for its owner alone, on the disk when the status is good. The file may not exist. With a
// `publicKey` it says which one belongs to the repository.
Status WriteKeyFile(const std::string& path, KeyFileKind kind, const Uid& repository, std::string_view key,
                    std::string_view publicKey = {});
// Reads `kKeySize` bytes. The sentence says what is wrong with the file: another kind, another repository.
// `publicKey` is empty if the file names none.
Status ReadKeyFile(const std::string& path, KeyFileKind kind, const Uid& repository, std::string& key,
                   std::string& publicKey);

}  // namespace store
