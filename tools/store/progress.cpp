#include "store/progress.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <vector>

#include "store/base/size_text.h"

namespace store {
namespace {

std::size_t UnitOf(std::uint64_t bytes) {
  std::size_t unit = 0;
  for (; bytes >= 1024; bytes /= 1024) {
    ++unit;
  }
  return unit;
}

// The number without the unit: whole from 100 on and for bytes, else with one decimal.
std::string In(std::size_t unit, std::uint64_t bytes) {
  double number = static_cast<double>(bytes);
  for (std::size_t i = 0; i < unit; ++i) {
    number /= 1024;
  }
  std::array<char, 32> text = {};
  std::snprintf(text.data(), text.size(), unit == 0 || number >= 99.95 ? "%.0f" : "%.1f", number);
  return text.data();
}

std::string Size(std::uint64_t bytes) {
  const std::size_t unit = UnitOf(bytes);
  return In(unit, bytes) + " " + kSizeUnits.at(unit);
}

std::string Duration(std::uint64_t seconds) {
  if (seconds < 100) {
    return std::to_string(seconds) + " s";
  }
  const std::uint64_t minutes = (seconds + 30) / 60;
  return minutes < 100 ? std::to_string(minutes) + " min"
                       : std::to_string(minutes / 60) + " h " + std::to_string(minutes % 60) + " min";
}

std::string BytesText(const ProgressState& state) {
  if (!state.allBytes) {
    return Size(state.bytes);
  }
  const std::size_t unit = UnitOf(std::max(*state.allBytes, state.bytes));
  return In(unit, state.bytes) + " of " + In(unit, *state.allBytes) + " " + kSizeUnits.at(unit);
}

}  // namespace

void Progress::Expect(std::uint64_t items, std::uint64_t bytes) {
  allItems_ = items;
  allBytes_ = bytes;
  expected_ = true;
}

ProgressState Progress::Now() const {
  ProgressState state;
  state.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - began_).count();
  state.items = items_.load(std::memory_order_relaxed);
  state.bytes = bytes_.load(std::memory_order_relaxed);
  if (expected_) {
    state.allItems = allItems_;
    state.allBytes = allBytes_;
  }
  return state;
}

std::uint64_t RateOf(const ProgressState& state) {
  return state.seconds > 0 ? static_cast<std::uint64_t>(static_cast<double>(state.bytes) / state.seconds) : 0;
}

std::optional<int> PercentOf(const ProgressState& state) {
  const bool byBytes = state.allBytes.value_or(0) > 0;
  const std::uint64_t all = (byBytes ? state.allBytes : state.allItems).value_or(0);
  if (all == 0) {
    return std::nullopt;
  }
  const double part = static_cast<double>(byBytes ? state.bytes : state.items) / static_cast<double>(all);
  return static_cast<int>(std::min(part, 1.0) * 100);
}

std::optional<std::uint64_t> SecondsLeft(const ProgressState& state) {
  const std::uint64_t rate = RateOf(state);
  if (!state.allBytes || rate == 0) {
    return std::nullopt;
  }
  return *state.allBytes > state.bytes ? (*state.allBytes - state.bytes + rate - 1) / rate : 0;
}

std::string ProgressText(const ProgressState& state, std::size_t width) {
  std::vector<std::string> parts;
  parts.push_back(std::to_string(state.items) +
                  (state.allItems ? " of " + std::to_string(*state.allItems) : "") + " items");
  parts.push_back(BytesText(state));
  if (const std::optional<int> percent = PercentOf(state)) {
    parts.push_back(std::to_string(*percent) + " %");
  }
  parts.push_back(Size(RateOf(state)) + "/s");
  if (const std::optional<std::uint64_t> left = SecondsLeft(state)) {
    parts.push_back(Duration(*left) + " left");
  }
  std::string text;
  for (const std::string& part : parts) {
    const std::string separator = text.empty() ? "" : ", ";
    if (text.size() + separator.size() + part.size() <= width) {
      text += separator + part;
    }
  }
  return text;
}

}  // namespace store
