// Reads packs: their tables, and single blocks, checked. Safe to use by several threads at once.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "store/base/uid.h"
#include "store/keys/keys.h"
#include "store/pack/format.h"
#include "store/place/place.h"
#include "store/status.h"

namespace store {

class PackReader {
 public:
  // Reads header, tables and trailer. `size` is the pack's, from the catalog or from the place's listing. The
  // messages name the pack and the position of what is wrong. `place` must outlive the reader.
  static Status Open(Place& place, const Keys& keys, const Uid& repository, const Uid& pack,
                     std::uint64_t size, std::shared_ptr<const PackReader>& reader);
  // The same with the size that the place tells. kMissing if there is no such pack.
  static Status Open(Place& place, const Keys& keys, const Uid& repository, const Uid& pack,
                     std::shared_ptr<const PackReader>& reader);

  [[nodiscard]] const Uid& Id() const { return pack_; }
  [[nodiscard]] const PackTables& Tables() const { return tables_; }
  // Reads one block, as it was before it was compressed and encrypted. kDamaged also if there is no block of
  // this number.
  Status ReadBlock(std::uint64_t number, std::string& bytes) const;
  // Checks only what needs no key: the checksum of the stored bytes.
  Status CheckBlock(std::uint64_t number) const;
  Status CheckStored(std::uint64_t number, std::string_view stored) const;
  // Where the stored bytes of a block begin in the object. For the number behind the last block, where the
  // tables begin.
  [[nodiscard]] std::uint64_t OffsetOf(std::uint64_t number) const;
  // A kDamaged failure: what is wrong with this block, in a sentence with pack and position.
  [[nodiscard]] Status DamagedBlock(std::uint64_t number, const std::string& what) const;

 private:
  PackReader(Place& place, const Uid& repository, const Uid& pack)
      : place_(place), repository_(repository), pack_(pack) {}

  Status ReadHeader(const Keys& keys, std::uint64_t size, std::string& header);
  Status ReadTables(std::string_view header, std::uint64_t size);
  // Gives a block as it was before it was compressed and encrypted.
  Status OpenBlock(std::uint64_t number, std::string_view stored, std::string& bytes) const;
  Status GetStored(std::uint64_t number, std::string& stored) const;
  Status Decrypt(std::uint64_t number, std::string_view stored, std::string& plain) const;

  Place& place_;
  Uid repository_;
  Uid pack_;
  PackTables tables_;
  PackCiphers ciphers_;
  std::vector<std::uint64_t> offsets_;  // of each block, and of the tables
};

}  // namespace store
