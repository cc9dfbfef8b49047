#include "store/base/uid.h"

#include <algorithm>
#include <cstring>

#include "platform/random.h"

namespace store {
namespace {

constexpr std::string_view kDigits = "0123456789abcdef";

}  // namespace

std::string Uid::Hex() const {
  std::string text;
  text.reserve(2 * kSize);
  for (const unsigned char byte : bytes) {
    text += kDigits[byte >> 4];
    text += kDigits[byte & 15];
  }
  return text;
}

Uid Uid::Random() {
  Uid uid;
  platform::RandomBytes(uid.bytes.data(), uid.bytes.size());
  return uid;
}

bool Uid::FromBytes(std::string_view bytes, Uid& uid) {
  uid = {};
  if (bytes.size() != kSize) {
    return false;
  }
  std::copy(bytes.begin(), bytes.end(), uid.bytes.begin());
  return true;
}

bool Uid::FromHex(std::string_view text, Uid& uid) {
  uid = {};
  if (text.size() != 2 * kSize || text.find_first_not_of(kDigits) != std::string_view::npos) {
    return false;
  }
  for (std::size_t i = 0; i < kSize; ++i) {
    uid.bytes[i] = static_cast<unsigned char>(kDigits.find(text[2 * i]) * 16 + kDigits.find(text[2 * i + 1]));
  }
  return true;
}

std::size_t UidHash::operator()(const Uid& uid) const {
  std::size_t hash = 0;
  std::memcpy(&hash, uid.bytes.data(), sizeof hash);
  return hash;
}

}  // namespace store
