// Names in their order, a million of them in little more room than their bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

class NameList {
 public:
  NameList() = default;
  NameList(const NameList&) = delete;
  NameList& operator=(const NameList&) = delete;
  NameList(NameList&&) = default;
  NameList& operator=(NameList&&) = default;

  void Add(std::string_view name);
  [[nodiscard]] std::size_t Size() const { return size_; }
  [[nodiscard]] std::string_view operator[](std::size_t index) const;
  // From one on, at most so many.
  [[nodiscard]] std::vector<std::string> Names(std::size_t first, std::size_t most) const;

 private:
  // Where a name is: its length, as a varint, then its bytes.
  struct Mark {
    std::uint32_t piece = 0;
    std::uint32_t offset = 0;
  };

  std::deque<std::string> pieces_;  // never moved once there are views of them
  std::vector<Mark> marks_;         // of one name in so many: the way to the others is short
  std::size_t size_ = 0;
};

// For each index below `count` the first one with the same key.
[[nodiscard]] std::vector<std::uint32_t> FirstOfEach(std::size_t count,
                                                     const std::function<std::string(std::size_t)>& keyOf);
