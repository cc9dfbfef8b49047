#include "store/keys/block_cipher.h"

#include <sodium.h>

#include <algorithm>
#include <array>

#include "store/base/nettle.h"

namespace store {
namespace {

static_assert(kCipherKeySize == crypto_aead_aes256gcm_KEYBYTES);
static_assert(kCipherKeySize == crypto_aead_xchacha20poly1305_ietf_KEYBYTES);

const unsigned char* In(std::string_view bytes) {
  return reinterpret_cast<const unsigned char*>(bytes.data());
}
unsigned char* Out(std::string& bytes) { return reinterpret_cast<unsigned char*>(bytes.data()); }

Status NotGenuine() {
  return Status::Damaged("the bytes are not those that were encrypted here, or the key is not theirs");
}

// The number of the block, lowest byte first. That is enough, since a key is used for only one pack.
template <std::size_t Size>
std::array<unsigned char, Size> NonceOf(std::uint32_t number) {
  std::array<unsigned char, Size> nonce{};
  for (std::size_t i = 0; i < sizeof number; ++i) {
    nonce[i] = static_cast<unsigned char>(number >> (8 * i));
  }
  return nonce;
}

class Aes256Gcm : public BlockCipher {
 public:
  explicit Aes256Gcm(std::string_view key) { crypto_aead_aes256gcm_beforenm(&state_, In(key)); }
  Aes256Gcm(const Aes256Gcm&) = delete;
  Aes256Gcm& operator=(const Aes256Gcm&) = delete;
  ~Aes256Gcm() override { sodium_memzero(&state_, sizeof state_); }

  Status Encrypt(std::uint32_t number, std::string_view place, std::string_view plain,
                 std::string& stored) const override {
    const auto nonce = NonceOf<crypto_aead_aes256gcm_NPUBBYTES>(number);
    stored.resize(plain.size() + kOverhead);
    const int failed =
        crypto_aead_aes256gcm_encrypt_afternm(Out(stored), nullptr, In(plain), plain.size(), In(place),
                                              place.size(), nullptr, nonce.data(), &state_);
    return failed == 0 ? Status() : Status::Failed("a block cannot be encrypted");
  }

  Status Decrypt(std::uint32_t number, std::string_view place, std::string_view stored,
                 std::string& plain) const override {
    if (stored.size() < kOverhead) {
      return NotGenuine();
    }
    const auto nonce = NonceOf<crypto_aead_aes256gcm_NPUBBYTES>(number);
    plain.resize(stored.size() - kOverhead);
    const int failed =
        crypto_aead_aes256gcm_decrypt_afternm(Out(plain), nullptr, nullptr, In(stored), stored.size(),
                                              In(place), place.size(), nonce.data(), &state_);
    return failed == 0 ? Status() : NotGenuine();
  }

 private:
  static constexpr std::size_t kOverhead = crypto_aead_aes256gcm_ABYTES;  // bytes per block

  crypto_aead_aes256gcm_state state_;
};

class SoftwareAes256Gcm : public BlockCipher {
 public:
  explicit SoftwareAes256Gcm(std::string_view key) { gcm_aes256_set_key(&key_, In(key)); }
  SoftwareAes256Gcm(const SoftwareAes256Gcm&) = delete;
  SoftwareAes256Gcm& operator=(const SoftwareAes256Gcm&) = delete;
  ~SoftwareAes256Gcm() override { sodium_memzero(&key_, sizeof key_); }

  Status Encrypt(std::uint32_t number, std::string_view place, std::string_view plain,
                 std::string& stored) const override {
    gcm_aes256_ctx context = Begin(number, place);
    stored.resize(plain.size() + kOverhead);
    gcm_aes256_encrypt(&context, plain.size(), Out(stored), In(plain));
    gcm_aes256_digest(&context, kOverhead, Out(stored) + plain.size());
    return {};
  }

  Status Decrypt(std::uint32_t number, std::string_view place, std::string_view stored,
                 std::string& plain) const override {
    if (stored.size() < kOverhead) {
      return NotGenuine();
    }
    gcm_aes256_ctx context = Begin(number, place);
    plain.resize(stored.size() - kOverhead);
    gcm_aes256_decrypt(&context, plain.size(), Out(plain), In(stored));
    std::array<unsigned char, GCM_DIGEST_SIZE> digest{};
    gcm_aes256_digest(&context, digest.size(), digest.data());
    return sodium_memcmp(digest.data(), In(stored) + plain.size(), digest.size()) == 0 ? Status()
                                                                                       : NotGenuine();
  }

 private:
  static constexpr std::size_t kOverhead = GCM_DIGEST_SIZE;  // bytes per block

  [[nodiscard]] gcm_aes256_ctx Begin(std::uint32_t number, std::string_view place) const {
    gcm_aes256_ctx context = key_;
    const auto nonce = NonceOf<GCM_IV_SIZE>(number);
    gcm_aes256_set_iv(&context, nonce.size(), nonce.data());
    gcm_aes256_update(&context, place.size(), In(place));
    return context;
  }

  gcm_aes256_ctx key_;
};

class XChaCha20Poly1305 : public BlockCipher {
 public:
  explicit XChaCha20Poly1305(std::string_view key) { std::copy(key.begin(), key.end(), key_.begin()); }
  XChaCha20Poly1305(const XChaCha20Poly1305&) = delete;
  XChaCha20Poly1305& operator=(const XChaCha20Poly1305&) = delete;
  ~XChaCha20Poly1305() override { sodium_memzero(key_.data(), key_.size()); }

  Status Encrypt(std::uint32_t number, std::string_view place, std::string_view plain,
                 std::string& stored) const override {
    const auto nonce = NonceOf<crypto_aead_xchacha20poly1305_ietf_NPUBBYTES>(number);
    stored.resize(plain.size() + kOverhead);
    const int failed =
        crypto_aead_xchacha20poly1305_ietf_encrypt(Out(stored), nullptr, In(plain), plain.size(), In(place),
                                                   place.size(), nullptr, nonce.data(), key_.data());
    return failed == 0 ? Status() : Status::Failed("a block cannot be encrypted");
  }

  Status Decrypt(std::uint32_t number, std::string_view place, std::string_view stored,
                 std::string& plain) const override {
    if (stored.size() < kOverhead) {
      return NotGenuine();
    }
    const auto nonce = NonceOf<crypto_aead_xchacha20poly1305_ietf_NPUBBYTES>(number);
    plain.resize(stored.size() - kOverhead);
    const int failed =
        crypto_aead_xchacha20poly1305_ietf_decrypt(Out(plain), nullptr, nullptr, In(stored), stored.size(),
                                                   In(place), place.size(), nonce.data(), key_.data());
    return failed == 0 ? Status() : NotGenuine();
  }

 private:
  static constexpr std::size_t kOverhead = crypto_aead_xchacha20poly1305_ietf_ABYTES;  // bytes per block

  std::array<unsigned char, kCipherKeySize> key_{};
};

}  // namespace

Cipher BestCipher() {
  return crypto_aead_aes256gcm_is_available() == 1 ? Cipher::kAes256Gcm : Cipher::kXChaCha20Poly1305;
}

std::shared_ptr<const BlockCipher> MakeSoftwareAes256Gcm(std::string_view key) {
  return std::make_shared<SoftwareAes256Gcm>(key);
}

std::shared_ptr<const BlockCipher> MakeBlockCipher(Cipher cipher, std::string_view key) {
  switch (cipher) {
    case Cipher::kAes256Gcm:
      if (crypto_aead_aes256gcm_is_available() == 1) {
        return std::make_shared<Aes256Gcm>(key);
      }
      return MakeSoftwareAes256Gcm(key);
    case Cipher::kXChaCha20Poly1305:
      return std::make_shared<XChaCha20Poly1305>(key);
    default:
      return nullptr;
  }
}

}  // namespace store
