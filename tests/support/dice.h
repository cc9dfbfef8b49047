// Choices of a random test, the same for the same seed on every system.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <vector>

class Dice {
 public:
  explicit Dice(unsigned seed) : random_(seed) {}
  std::size_t Below(std::size_t count) { return random_() % count; }
  bool OneIn(std::size_t count) { return Below(count) == 0; }
  const std::string& One(const std::vector<std::string>& of) { return of[Below(of.size())]; }

 private:
  std::mt19937 random_;
};

// Bytes that do not shrink, the same for the same seed.
inline std::string Noise(std::size_t size, unsigned seed) {
  std::mt19937_64 random(seed);
  std::string bytes(size, '\0');
  for (std::size_t at = 0; at < size; at += sizeof(std::uint64_t)) {
    const std::uint64_t number = random();
    std::memcpy(bytes.data() + at, &number, std::min(sizeof number, size - at));
  }
  return bytes;
}
