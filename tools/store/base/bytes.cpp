#include "store/base/bytes.h"

namespace store {
namespace {

constexpr int kBitsOfByte = 8;
constexpr int kBitsOfVarintByte = 7;
constexpr std::uint64_t kVarintMask = 0x7f;
constexpr std::uint64_t kVarintMore = 0x80;

void AppendFixed(std::string& bytes, std::uint64_t value, std::size_t size) {
  for (std::size_t i = 0; i < size; ++i) {
    bytes += static_cast<char>(value & 0xff);
    value >>= kBitsOfByte;
  }
}

std::uint64_t ReadFixed(std::string_view bytes) {
  std::uint64_t value = 0;
  for (std::size_t i = bytes.size(); i > 0; --i) {
    value = value << kBitsOfByte | static_cast<unsigned char>(bytes[i - 1]);
  }
  return value;
}

}  // namespace

Encoder& Encoder::U8(std::uint8_t value) {
  bytes_ += static_cast<char>(value);
  return *this;
}

Encoder& Encoder::U16(std::uint16_t value) {
  AppendFixed(bytes_, value, sizeof value);
  return *this;
}

Encoder& Encoder::U32(std::uint32_t value) {
  AppendFixed(bytes_, value, sizeof value);
  return *this;
}

Encoder& Encoder::U64(std::uint64_t value) {
  AppendFixed(bytes_, value, sizeof value);
  return *this;
}

Encoder& Encoder::Varint(std::uint64_t value) {
  while (value > kVarintMask) {
    bytes_ += static_cast<char>((value & kVarintMask) | kVarintMore);
    value >>= kBitsOfVarintByte;
  }
  bytes_ += static_cast<char>(value);
  return *this;
}

Encoder& Encoder::Raw(std::string_view bytes) {
  bytes_ += bytes;
  return *this;
}

std::string_view Decoder::Raw(std::size_t size) {
  if (failed_ || size > rest_.size()) {
    failed_ = true;
    return {};
  }
  const std::string_view bytes = rest_.substr(0, size);
  rest_.remove_prefix(size);
  return bytes;
}

std::uint8_t Decoder::U8() { return static_cast<std::uint8_t>(ReadFixed(Raw(sizeof(std::uint8_t)))); }
std::uint16_t Decoder::U16() { return static_cast<std::uint16_t>(ReadFixed(Raw(sizeof(std::uint16_t)))); }
std::uint32_t Decoder::U32() { return static_cast<std::uint32_t>(ReadFixed(Raw(sizeof(std::uint32_t)))); }
std::uint64_t Decoder::U64() { return ReadFixed(Raw(sizeof(std::uint64_t))); }

std::uint64_t Decoder::Varint() {
  std::uint64_t value = 0;
  for (int shift = 0; shift < 64; shift += kBitsOfVarintByte) {
    const std::uint64_t byte = U8();
    if (failed_) {
      return 0;
    }
    const std::uint64_t bits = byte & kVarintMask;
    if ((bits << shift) >> shift != bits) {
      break;
    }
    value |= bits << shift;
    if ((byte & kVarintMore) == 0) {
      return value;
    }
  }
  failed_ = true;
  return 0;
}

Uid Decoder::Id() {
  Uid uid;
  static_cast<void>(Uid::FromBytes(Raw(Uid::kSize), uid));
  return uid;
}

std::string_view Decoder::Text() {
  const std::uint64_t size = Varint();
  return size > rest_.size() ? (failed_ = true, std::string_view()) : Raw(static_cast<std::size_t>(size));
}

}  // namespace store
