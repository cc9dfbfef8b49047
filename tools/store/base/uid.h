// 128-bit numbers that are unique by themselves: ids of repositories, objects, savesets and runs are random,
// ids of chunks and maps are hashes.
#pragma once

#include <array>
#include <compare>
#include <string>
#include <string_view>

namespace store {

struct Uid {
  static constexpr std::size_t kSize = 16;
  std::array<unsigned char, kSize> bytes{};

  auto operator<=>(const Uid&) const = default;  // NOLINT(modernize-use-nullptr): none is written here
  [[nodiscard]] bool IsNull() const { return *this == Uid{}; }
  [[nodiscard]] std::string_view Bytes() const {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
  }
  // 32 lower-case hexadecimal digits.
  [[nodiscard]] std::string Hex() const;

  // From the system's generator of unpredictable numbers.
  [[nodiscard]] static Uid Random();
  // False, and `uid` is null, unless there are 16 bytes.
  [[nodiscard]] static bool FromBytes(std::string_view bytes, Uid& uid);
  // False, and `uid` is null, unless the text is what `Hex` gives.
  [[nodiscard]] static bool FromHex(std::string_view text, Uid& uid);
};

// Ids are evenly spread: any eight of their bytes do for a hash table.
struct UidHash {
  std::size_t operator()(const Uid& uid) const;
};

}  // namespace store
