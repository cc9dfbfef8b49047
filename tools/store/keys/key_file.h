// Key files: text that a person can recognise and print.
#pragma once

#include <string>
#include <string_view>

#include "store/base/uid.h"
#include "store/status.h"

namespace store {

inline constexpr std::size_t kKeySize = 32;

// What a key file says of itself in its first line.
enum class KeyFileKind { kSaversSecret, kPrivateKey };

// Makes a new file for its owner alone, on the disk when the status is good. The file must not exist yet.
// With a `publicKey`, the file also says that this one belongs to the repository.
Status WriteKeyFile(const std::string& path, KeyFileKind kind, const Uid& repository, std::string_view key,
                    std::string_view publicKey = {});
// Reads a key of `kKeySize` bytes. The message says what is wrong with the file: another kind, another
// repository. `publicKey` is empty if the file names none.
Status ReadKeyFile(const std::string& path, KeyFileKind kind, const Uid& repository, std::string& key,
                   std::string& publicKey);

}  // namespace store
