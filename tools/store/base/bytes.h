// Numbers and texts as bytes, in the form that all objects of the store have (docs/store.md). Fixed numbers
// have their lowest byte first. A varint has seven bits in each byte, lowest first; the eighth bit is set
// while more follow.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "store/base/uid.h"

namespace store {

class Encoder {
 public:
  Encoder& U8(std::uint8_t value);
  Encoder& U16(std::uint16_t value);
  Encoder& U32(std::uint32_t value);
  Encoder& U64(std::uint64_t value);
  Encoder& I64(std::int64_t value) { return U64(static_cast<std::uint64_t>(value)); }
  Encoder& Varint(std::uint64_t value);
  Encoder& Raw(std::string_view bytes);
  Encoder& Id(const Uid& uid) { return Raw(uid.Bytes()); }
  // A varint with the length, then the bytes.
  Encoder& Text(std::string_view bytes) { return Varint(bytes.size()).Raw(bytes); }

  [[nodiscard]] const std::string& Bytes() const { return bytes_; }
  [[nodiscard]] std::string Take() { return std::move(bytes_); }

 private:
  std::string bytes_;
};

// Reads what an encoder wrote. After the first read beyond the end, or of a varint of more than 64 bits,
// every read gives 0 or nothing, and `Failed` is true: one look at the end is enough. Texts point into the
// given bytes.
class Decoder {
 public:
  explicit Decoder(std::string_view bytes) : rest_(bytes) {}

  std::uint8_t U8();
  std::uint16_t U16();
  std::uint32_t U32();
  std::uint64_t U64();
  std::int64_t I64() { return static_cast<std::int64_t>(U64()); }
  std::uint64_t Varint();
  std::string_view Raw(std::size_t size);
  Uid Id();
  std::string_view Text();

  [[nodiscard]] std::size_t Left() const { return rest_.size(); }
  [[nodiscard]] bool Failed() const { return failed_; }
  // Everything was read, and nothing beyond the end.
  [[nodiscard]] bool Done() const { return !failed_ && rest_.empty(); }

 private:
  std::string_view rest_;
  bool failed_ = false;
};

}  // namespace store
