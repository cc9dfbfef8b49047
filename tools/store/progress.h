// How far a piece of work has come. The threads that do it count, and whoever shows it reads.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace store {

// Counts files, also those in directories, and their bytes.
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
  // Sets what there is to do in all.
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

// Bytes per second, on average since the work began.
[[nodiscard]] std::uint64_t RateOf(const ProgressState& state);
// How much is done, 0 to 100; it stays at 100 even if a file grew meanwhile. None before the total is known.
[[nodiscard]] std::optional<int> PercentOf(const ProgressState& state);
// Seconds until the end at this average rate. None if the total is not known, or nothing has moved yet.
[[nodiscard]] std::optional<std::uint64_t> SecondsLeft(const ProgressState& state);

// `12 of 340 items, 1.2 of 5.0 GiB, 24 %, 210 MiB/s, 18 s left`, or as many parts of it as fit into `width`
// columns.
[[nodiscard]] std::string ProgressText(const ProgressState& state, std::size_t width);

}  // namespace store
