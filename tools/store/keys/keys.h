// The keys of a repository, and what is done with them. Without encryption there is one key, for the chunk
// ids, in the repository's own object. With encryption there are these instead:
//
//   savers' secret   in a file that every machine that saves has: it encrypts maps and records, and the key
//                    of the chunk ids is made from it
//   key pair         the public key, in the repository's object, seals each pack's own key; only the private
//                    key, in a file, opens it: restores and checks of data need that
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "store/base/uid.h"
#include "store/status.h"

namespace store {

// The numbers are stored in the objects.
enum class Cipher : std::uint8_t { kNone = 0, kAes256Gcm = 1, kXChaCha20Poly1305 = 2 };

// Encrypts and decrypts the blocks of one pack. Safe to use by several threads at once.
class BlockCipher {
 public:
  virtual ~BlockCipher() = default;
  // `place` is what the block is bound to (its pack, number, kind). Each `number` is used only once in a
  // pack.
  virtual Status Encrypt(std::uint32_t number, std::string_view place, std::string_view plain,
                         std::string& stored) const = 0;
  // kDamaged unless `stored` is what was encrypted for this place.
  virtual Status Decrypt(std::uint32_t number, std::string_view place, std::string_view stored,
                         std::string& plain) const = 0;
};

// The two ciphers of a pack; none in a repository without encryption.
struct PackCiphers {
  Cipher cipher = Cipher::kNone;
  std::string sealedKey;                    // for the pack's header
  std::shared_ptr<const BlockCipher> data;  // null if the private key is missing
  std::shared_ptr<const BlockCipher> meta;  // maps and records
  Status whyNoData;                         // the message for those who want data without the private key
};

class Keys {
 public:
  // Makes keys for a new repository, in memory. `Store` writes `HeaderPart` into the repository's object.
  static Status Make(bool encrypt, const Uid& repository, Keys& keys);
  // Takes the keys from the part in the repository's object and from the key files of the configuration, both
  // optional (empty: none). A secret or key of another repository is an error that says so; a missing one is
  // an error only when it is needed.
  static Status Read(std::string_view headerPart, const Uid& repository, const std::string& secretFile,
                     const std::string& keyFile, Keys& keys);
  // The part for the repository's object: without encryption the key of the chunk ids; with it the public key
  // and a check value of the secret.
  [[nodiscard]] std::string HeaderPart() const;
  // Writes the two key files, readable by their owner alone; neither may exist yet.
  Status WriteFiles(const std::string& secretFile, const std::string& keyFile) const;

  [[nodiscard]] bool Encrypts() const;
  // The cipher of small objects that are encrypted now, as their headers name it.
  [[nodiscard]] Cipher ObjectCipher() const;
  // Fails with a sentence that says which key is missing, unless maps, records and chunk ids (CanRead: also
  // data) can be used.
  Status CanSave() const;
  Status CanRead() const;

  // The id of a chunk's or a map's bytes.
  [[nodiscard]] Uid IdOf(std::string_view bytes) const;

  // The ciphers of a new pack; those of one that is read, with the sealed key of its header.
  Status NewPack(const Uid& pack, PackCiphers& ciphers) const;
  Status OpenPack(const Uid& pack, Cipher cipher, std::string_view sealedKey, PackCiphers& ciphers) const;
  // For contents of saveset objects, with the savers' secret; bound to the kind (of format.h) and the object.
  // Without encryption they stay plain.
  Status EncryptObject(std::uint16_t kind, const Uid& object, std::string_view plain,
                       std::string& stored) const;
  Status DecryptObject(std::uint16_t kind, const Uid& object, std::string_view stored,
                       std::string& plain) const;

 private:
  struct Inside;
  std::shared_ptr<const Inside> inside_;
};

}  // namespace store
