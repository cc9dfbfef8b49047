// Choices of a random test, the same for the same seed on every system.
#pragma once

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
