// The authenticated ciphers of blocks.
#pragma once

#include <memory>
#include <string_view>

#include "store/keys/keys.h"

namespace store {

inline constexpr std::size_t kCipherKeySize = 32;

// The cipher of what this machine encrypts: AES-256-GCM if the processor has it, else XChaCha20-Poly1305.
[[nodiscard]] Cipher BestCipher();

// A cipher with a key of `kCipherKeySize` bytes. Null for a number that is not known here.
[[nodiscard]] std::shared_ptr<const BlockCipher> MakeBlockCipher(Cipher cipher, std::string_view key);
// AES-256-GCM without the processor's instructions, since a restore must not depend on the machine.
[[nodiscard]] std::shared_ptr<const BlockCipher> MakeSoftwareAes256Gcm(std::string_view key);

}  // namespace store
