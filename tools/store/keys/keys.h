// The keys of a repository, and what is done with them. Without encryption there is one key, for the chunk
// ids, in the repository's own header. With encryption there are two more, in files outside the repository:
//
//   savers' secret   every machine that saves has it: it keys the chunk ids and encrypts maps and records
//   key pair         the public key, in the repository's header, seals each pack's own key; only who has the
//                    private key file opens it: restores and checks of data need it
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "store/base/uid.h"
#include "store/status.h"

namespace store {

// The number is in the objects.
enum class Cipher : std::uint8_t { kNone = 0, kAes256Gcm = 1, kXChaCha20Poly1305 = 2 };

// Encrypts and decrypts the blocks of one pack. Safe to use by several threads at once.
class BlockCipher {
 public:
  virtual ~BlockCipher() = default;
  // Bytes that a block grows by.
  [[nodiscard]] virtual std::size_t Overhead() const = 0;
  // `place` is what the block is bound to (its pack, number, kind); `number` is used once for each pack.
  virtual Status Encrypt(std::uint32_t number, std::string_view place, std::string_view plain,
                         std::string& stored) const = 0;
  // kDamaged unless these are the bytes that were encrypted for this place.
  virtual Status Decrypt(std::uint32_t number, std::string_view place, std::string_view stored,
                         std::string& plain) const = 0;
};

// The two ciphers of a pack: none of them in a repository without encryption.
struct PackCiphers {
  Cipher cipher = Cipher::kNone;
  std::string sealedKey;                    // for the pack's header
  std::shared_ptr<const BlockCipher> data;  // null where the private key is missing
  std::shared_ptr<const BlockCipher> meta;  // maps and records
  Status whyNoData;                         // what to tell who wants data without the private key
};

class Keys {
 public:
  // Keys for a new repository, in memory; `Store` writes what belongs into its header.
  static Status Make(bool encrypt, const Uid& repository, Keys& keys);
  // From the header's public part and the key files of the configuration, both optional (empty: none). A
  // secret or key that belongs to another repository is an error that says so; one that is missing is an
  // error when it is needed.
  static Status Read(std::string_view headerPart, const Uid& repository, const std::string& secretFile,
                     const std::string& keyFile, Keys& keys);
  // What the repository's header keeps: without encryption the key of the chunk ids; with it the public key
  // and a check value of the secret.
  [[nodiscard]] std::string HeaderPart() const;
  // Write the two key files, readable by their owner alone; neither may exist.
  Status WriteFiles(const std::string& secretFile, const std::string& keyFile) const;

  [[nodiscard]] bool Encrypts() const;
  // What the headers of objects name that are encrypted now.
  [[nodiscard]] Cipher ObjectCipher() const;
  // One sentence that says which key is missing, unless maps, records and chunk ids (data) can be used.
  Status CanSave() const;
  Status CanRead() const;

  // The id of a chunk's or a map's bytes.
  [[nodiscard]] Uid IdOf(std::string_view bytes) const;

  // For a new pack; for one that is read, with the sealed key of its header.
  Status NewPack(const Uid& pack, PackCiphers& ciphers) const;
  Status OpenPack(const Uid& pack, Cipher cipher, std::string_view sealedKey, PackCiphers& ciphers) const;
  // Contents of saveset objects, with the savers' secret; bound to the kind (of format.h) and the object.
  // Plain without encryption.
  Status EncryptObject(std::uint16_t kind, const Uid& object, std::string_view plain,
                       std::string& stored) const;
  Status DecryptObject(std::uint16_t kind, const Uid& object, std::string_view stored,
                       std::string& plain) const;

 private:
  struct Inside;
  std::shared_ptr<const Inside> inside_;
};

}  // namespace store
