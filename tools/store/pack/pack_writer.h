// Writes one pack, block by block.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "store/keys/keys.h"
#include "store/pack/format.h"
#include "store/place/place.h"
#include "store/status.h"

namespace store {

class PackWriter {
 public:
  // The pack has to be announced in the catalog already. Whoever destroys an unfinished writer has to take
  // that back.
  static Status Create(Place& place, const Keys& keys, const Uid& repository, const Uid& saveset,
                       const Uid& pack, std::unique_ptr<PackWriter>& writer);

  [[nodiscard]] const Uid& Id() const { return pack_; }
  // The bytes that were appended so far, with the header; after `End` those of the whole pack.
  [[nodiscard]] std::uint64_t Size() const { return size_; }
  [[nodiscard]] const PackCiphers& Ciphers() const { return ciphers_; }

  // Appends a block. Blocks are numbered from 0 in the order of these calls. `entry` is complete, with its
  // checksum.
  Status Append(const BlockEntry& entry, std::string_view stored);
  // Appends tables and trailer.
  Status End(std::uint32_t items, std::vector<Uid> refersTo);
  // To be called after `End`: begins what `Finish` would do (place.h).
  void BeginFinish() { object_->BeginFinish(); }
  // When the status is good, the pack is there and durable.
  Status Finish();

 private:
  PackWriter() = default;
  Status Write(std::string_view bytes);

  Uid pack_;
  PackCiphers ciphers_;
  std::string header_;
  PackTables tables_;
  std::uint64_t size_ = 0;
  std::unique_ptr<NewObject> object_;
};

}  // namespace store
