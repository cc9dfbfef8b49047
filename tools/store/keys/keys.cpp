#include "store/keys/keys.h"

#include <sodium.h>

#include <array>
#include <mutex>
#include <stdexcept>

#include "platform/platform.h"
#include "store/base/bytes.h"
#include "store/base/nettle.h"
#include "store/keys/block_cipher.h"
#include "store/keys/key_file.h"

namespace store {
namespace {

// The first byte of the part in the repository's object.
enum Form : std::uint8_t { kPlainForm = 0, kEncryptedForm = 1 };

constexpr std::size_t kCheckSize = 16;

const unsigned char* In(std::string_view bytes) {
  return reinterpret_cast<const unsigned char*>(bytes.data());
}
unsigned char* Out(std::string& bytes) { return reinterpret_cast<unsigned char*>(bytes.data()); }

void StartLibrary() {
  if (sodium_init() < 0) {
    throw std::runtime_error("libsodium does not start");
  }
}

std::string RandomKey() {
  std::string key(kKeySize, '\0');
  randombytes_buf(key.data(), key.size());
  return key;
}

// Derives a key for one use from the savers' secret.
std::string Derive(std::string_view secret, std::string_view use, std::string_view object, std::size_t size) {
  const std::string text = Encoder().Text(use).Text(object).Take();
  std::string key(size, '\0');
  crypto_generichash(Out(key), key.size(), In(text), text.size(), In(secret), secret.size());
  return key;
}

// Where a small object's content is; its encryption is bound to that.
std::string ObjectPlace(std::uint16_t kind, const Uid& repository, const Uid& object) {
  return Encoder().U16(kind).Id(repository).Id(object).Take();
}

}  // namespace

struct Keys::Inside {
  Uid repository;
  bool encrypts = false;
  std::string idKey;   // of the chunk ids; empty while the secret is missing
  std::string secret;  // the savers' secret
  std::string publicKey;
  std::string privateKey;
  std::string check;  // check value of the savers' secret

  Inside() = default;
  Inside(const Inside&) = delete;
  Inside& operator=(const Inside&) = delete;
  ~Inside() {
    for (std::string* key : {&idKey, &secret, &privateKey}) {
      sodium_memzero(key->data(), key->size());
    }
    sodium_memzero(&hashStart_, sizeof hashStart_);
  }

  void UseSecret(std::string key) {
    secret = std::move(key);
    idKey = Derive(secret, "chunk ids", {}, kKeySize);
  }

  // The hash after the block with the chunk ids' key. Made when it is first asked for: most runs make no id.
  [[nodiscard]] const sha256_ctx& HashStart() const {
    std::call_once(hashStarted_, [&]() {
      std::array<unsigned char, SHA256_BLOCK_SIZE> block{};
      std::copy(idKey.begin(), idKey.end(), block.begin());
      sha256_init(&hashStart_);
      sha256_update(&hashStart_, block.size(), block.data());
      sodium_memzero(block.data(), block.size());
    });
    return hashStart_;
  }

  [[nodiscard]] std::string CheckOfSecret() const {
    return Derive(secret, "check", repository.Bytes(), kCheckSize);
  }
  [[nodiscard]] std::string PackKey(const Uid& pack) const {
    return Derive(secret, "pack", pack.Bytes(), kKeySize);
  }

  Status ReadSecret(const std::string& file) {
    std::string key;
    std::string meant;
    if (Status read = ReadKeyFile(file, KeyFileKind::kSaversSecret, repository, key, meant); !read) {
      return read;
    }
    UseSecret(std::move(key));
    if (CheckOfSecret() != check) {
      return Status::Failed(
          "key file " + file +
          " does not have the savers' secret of this repository, or a character of it is wrong");
    }
    return meant.empty() || meant == publicKey
               ? Status()
               : Status::Failed(
                     "its object \"repository\" has another public key than key file " + file +
                     " says: a character of its third line is wrong, or somebody exchanged the object "
                     "who wants to read what is saved");
  }

  Status ReadPrivateKey(const std::string& file) {
    std::string none;
    if (Status read = ReadKeyFile(file, KeyFileKind::kPrivateKey, repository, privateKey, none); !read) {
      return read;
    }
    std::string made(crypto_box_PUBLICKEYBYTES, '\0');
    crypto_scalarmult_base(Out(made), In(privateKey));
    return made == publicKey
               ? Status()
               : Status::Failed(
                     "key file " + file +
                     " does not have the private key of this repository, or a character of it is wrong");
  }

 private:
  mutable std::once_flag hashStarted_;
  mutable sha256_ctx hashStart_ = {};
};

Status Keys::Make(bool encrypt, const Uid& repository, Keys& keys) {
  StartLibrary();
  auto made = std::make_shared<Inside>();
  made->repository = repository;
  made->encrypts = encrypt;
  if (encrypt) {
    made->UseSecret(RandomKey());
    made->check = made->CheckOfSecret();
    made->publicKey.resize(crypto_box_PUBLICKEYBYTES);
    made->privateKey.resize(crypto_box_SECRETKEYBYTES);
    if (crypto_box_keypair(Out(made->publicKey), Out(made->privateKey)) != 0) {
      return Status::Failed("a key pair cannot be made");
    }
  } else {
    made->idKey = RandomKey();
  }
  keys.inside_ = std::move(made);
  return {};
}

Status Keys::Read(std::string_view headerPart, const Uid& repository, const std::string& secretFile,
                  const std::string& keyFile, Keys& keys) {
  StartLibrary();
  auto read = std::make_shared<Inside>();
  read->repository = repository;
  Decoder decoder(headerPart);
  const std::uint8_t form = decoder.U8();
  if (form == kPlainForm) {
    read->idKey = decoder.Raw(kKeySize);
  } else {
    read->encrypts = true;
    read->publicKey = decoder.Raw(kKeySize);
    read->check = decoder.Raw(kCheckSize);
  }
  if (!decoder.Done() || form > kEncryptedForm) {
    return Status::Damaged("the repository's own object has no keys that this release knows");
  }
  if (read->encrypts && !secretFile.empty()) {
    if (Status secret = read->ReadSecret(secretFile); !secret) {
      return secret;
    }
  }
  if (read->encrypts && !keyFile.empty()) {
    if (Status key = read->ReadPrivateKey(keyFile); !key) {
      return key;
    }
  }
  keys.inside_ = std::move(read);
  return {};
}

std::string Keys::HeaderPart() const {
  Encoder encoder;
  if (Encrypts()) {
    encoder.U8(kEncryptedForm).Raw(inside_->publicKey).Raw(inside_->check);
  } else {
    encoder.U8(kPlainForm).Raw(inside_->idKey);
  }
  return encoder.Take();
}

Status Keys::WriteFiles(const std::string& secretFile, const std::string& keyFile) const {
  const Uid& repository = inside_->repository;
  if (Status written = WriteKeyFile(secretFile, KeyFileKind::kSaversSecret, repository, inside_->secret,
                                    inside_->publicKey);
      !written) {
    return written;
  }
  Status written = WriteKeyFile(keyFile, KeyFileKind::kPrivateKey, repository, inside_->privateKey);
  if (!written) {
    platform::RemoveFile(secretFile);  // alone it would be in the way of the next attempt
  }
  return written;
}

bool Keys::Encrypts() const { return inside_->encrypts; }

Cipher Keys::ObjectCipher() const { return Encrypts() ? Cipher::kXChaCha20Poly1305 : Cipher::kNone; }

Status Keys::CanSave() const {
  return inside_->idKey.empty()
             ? Status::Failed(
                   "the repository is encrypted and the savers' secret is missing: let secret_file name it")
             : Status();
}

Status Keys::CanRead() const {
  if (Status save = CanSave(); !save) {
    return save;
  }
  return Encrypts() && inside_->privateKey.empty() ? Status::Failed(
                                                         "the repository is encrypted and the private key, "
                                                         "which restores and reading checks need, is "
                                                         "missing: let key_file name it, and this "
                                                         "user read it")
                                                   : Status();
}

Uid Keys::IdOf(std::string_view bytes) const {
  sha256_ctx hash = inside_->HashStart();
  sha256_update(&hash, bytes.size(), In(bytes));
  Uid id;
  sha256_digest(&hash, id.bytes.size(), id.bytes.data());
  return id;
}

Status Keys::NewPack(const Uid& pack, PackCiphers& ciphers) const {
  ciphers = {};
  if (!Encrypts()) {
    return {};
  }
  if (Status save = CanSave(); !save) {
    return save;
  }
  std::string key = RandomKey();
  ciphers.cipher = BestCipher();
  ciphers.data = MakeBlockCipher(ciphers.cipher, key);
  ciphers.meta = MakeBlockCipher(ciphers.cipher, inside_->PackKey(pack));
  ciphers.sealedKey.resize(key.size() + crypto_box_SEALBYTES);
  const int failed = crypto_box_seal(Out(ciphers.sealedKey), In(key), key.size(), In(inside_->publicKey));
  sodium_memzero(key.data(), key.size());
  return failed == 0 ? Status() : Status::Failed("a pack's key cannot be sealed");
}

Status Keys::OpenPack(const Uid& pack, Cipher cipher, std::string_view sealedKey,
                      PackCiphers& ciphers) const {
  ciphers = {};
  ciphers.cipher = cipher;
  if (cipher == Cipher::kNone) {
    return Encrypts() ? Status::Damaged("it is not encrypted, in a repository that encrypts") : Status();
  }
  if (!Encrypts()) {
    return Status::Damaged("it is encrypted, in a repository that does not encrypt");
  }
  if (Status save = CanSave(); !save) {
    return save;
  }
  ciphers.meta = MakeBlockCipher(cipher, inside_->PackKey(pack));
  if (ciphers.meta == nullptr) {
    return Status::Failed("it is encrypted in a way that this release does not know: use a newer one");
  }
  ciphers.whyNoData = CanRead();
  if (!ciphers.whyNoData) {
    return {};
  }
  std::string key(kKeySize, '\0');
  if (sealedKey.size() != key.size() + crypto_box_SEALBYTES ||
      crypto_box_seal_open(Out(key), In(sealedKey), sealedKey.size(), In(inside_->publicKey),
                           In(inside_->privateKey)) != 0) {
    return Status::Damaged("its key is not sealed for this repository");
  }
  ciphers.data = MakeBlockCipher(cipher, key);
  sodium_memzero(key.data(), key.size());
  return {};
}

// The nonce is random, and stands in front.
Status Keys::EncryptObject(std::uint16_t kind, const Uid& object, std::string_view plain,
                           std::string& stored) const {
  if (!Encrypts()) {
    stored = plain;
    return {};
  }
  if (Status save = CanSave(); !save) {
    return save;
  }
  const std::string place = ObjectPlace(kind, inside_->repository, object);
  const std::string key = Derive(inside_->secret, "objects", {}, kKeySize);
  constexpr std::size_t kNonceSize = crypto_aead_xchacha20poly1305_ietf_NPUBBYTES;
  stored.resize(kNonceSize + plain.size() + crypto_aead_xchacha20poly1305_ietf_ABYTES);
  randombytes_buf(stored.data(), kNonceSize);
  crypto_aead_xchacha20poly1305_ietf_encrypt(Out(stored) + kNonceSize, nullptr, In(plain), plain.size(),
                                             In(place), place.size(), nullptr, Out(stored), In(key));
  return {};
}

Status Keys::DecryptObject(std::uint16_t kind, const Uid& object, std::string_view stored,
                           std::string& plain) const {
  if (!Encrypts()) {
    plain = stored;
    return {};
  }
  if (Status save = CanSave(); !save) {
    return save;
  }
  const std::string place = ObjectPlace(kind, inside_->repository, object);
  const std::string key = Derive(inside_->secret, "objects", {}, kKeySize);
  constexpr std::size_t kNonceSize = crypto_aead_xchacha20poly1305_ietf_NPUBBYTES;
  constexpr std::size_t kAround = kNonceSize + crypto_aead_xchacha20poly1305_ietf_ABYTES;
  plain.resize(stored.size() < kAround ? 0 : stored.size() - kAround);
  const bool genuine = stored.size() >= kAround &&
                       crypto_aead_xchacha20poly1305_ietf_decrypt(
                           Out(plain), nullptr, nullptr, In(stored) + kNonceSize, stored.size() - kNonceSize,
                           In(place), place.size(), In(stored), In(key)) == 0;
  return genuine ? Status() : Status::Damaged("its content is not what was encrypted here");
}

}  // namespace store
