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
  [[nodiscard]] std::size_t Size() const { return names_.size(); }
  [[nodiscard]] std::string_view operator[](std::size_t index) const { return names_[index]; }

 private:
  std::deque<std::string> pieces_;  // never moved once there are views of them
  std::deque<std::string_view> names_;
};

// For each index below `count` the first one with the same key.
[[nodiscard]] std::vector<std::uint32_t> FirstOfEach(std::size_t count,
                                                     const std::function<std::string(std::size_t)>& keyOf);
