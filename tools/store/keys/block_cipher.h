// The authenticated ciphers of blocks.
#pragma once

#include <memory>
#include <string_view>

#include "store/keys/keys.h"

namespace store {

inline constexpr std::size_t kCipherKeySize = 32;

// What this machine encrypts with: AES-256-GCM where the processor has it.
[[nodiscard]] Cipher BestCipher();

// A cipher with a key of `kCipherKeySize` bytes. None for a number that is not known here.
[[nodiscard]] std::shared_ptr<const BlockCipher> MakeBlockCipher(Cipher cipher, std::string_view key);
// AES-256-GCM without the processor's instructions: a restore must not depend on the machine.
[[nodiscard]] std::shared_ptr<const BlockCipher> MakeSoftwareAes256Gcm(std::string_view key);

}  // namespace store
