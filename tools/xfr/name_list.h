// Names in their order. A million of them take little more memory than their bytes.
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
  // The view is good as long as the list lives.
  [[nodiscard]] std::string_view operator[](std::size_t index) const;
  // At most `most` names, from index `first` on.
  [[nodiscard]] std::vector<std::string> Names(std::size_t first, std::size_t most) const;

 private:
  // Where a name is: its length as a varint, then its bytes.
  struct Mark {
    std::uint32_t piece = 0;
    std::uint32_t offset = 0;
  };

  std::deque<std::string> pieces_;  // never moved once there are views of them
  std::vector<Mark> marks_;         // of every 16th name; the others are searched from there
  std::size_t size_ = 0;
};

// For each index below `count`, the first index with the same key.
[[nodiscard]] std::vector<std::uint32_t> FirstOfEach(std::size_t count,
                                                     const std::function<std::string(std::size_t)>& keyOf);
