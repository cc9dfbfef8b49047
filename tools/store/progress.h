// How far a piece of work has come: counted by the threads that do it, read by whoever tells of it.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace store {

// What is counted are files, those in directories too, and their bytes.
struct ProgressState {
  double seconds = 0;  // since the work began
  std::uint64_t items = 0;
  std::uint64_t bytes = 0;
  // What there is to do in all, once that is known.
  std::optional<std::uint64_t> allItems;
  std::optional<std::uint64_t> allBytes;
};

class Progress {
 public:
  void AddItems(std::uint64_t count) { items_.fetch_add(count, std::memory_order_relaxed); }
  void AddBytes(std::uint64_t count) { bytes_.fetch_add(count, std::memory_order_relaxed); }
  // What there is to do in all.
  void Expect(std::uint64_t items, std::uint64_t bytes);
  [[nodiscard]] ProgressState Now() const;

 private:
  const std::chrono::steady_clock::time_point began_ = std::chrono::steady_clock::now();
  std::atomic<std::uint64_t> items_ = 0;
  std::atomic<std::uint64_t> bytes_ = 0;
  std::atomic<std::uint64_t> allItems_ = 0;
  std::atomic<std::uint64_t> allBytes_ = 0;
  std::atomic<bool> expected_ = false;
};

// Bytes in a second, on the average.
[[nodiscard]] std::uint64_t RateOf(const ProgressState& state);
// How much is done, 0 to 100; a file that grew meanwhile makes no more of it. None before all is known.
[[nodiscard]] std::optional<int> PercentOf(const ProgressState& state);
// Seconds until the end, if it goes on like this.
[[nodiscard]] std::optional<std::uint64_t> SecondsLeft(const ProgressState& state);

// `12 of 340 items, 1.2 of 5.0 GiB, 24 %, 210 MiB/s, 18 s left`, or as much of it as `width` columns take.
[[nodiscard]] std::string ProgressText(const ProgressState& state, std::size_t width);

}  // namespace store
