// One table for what goes wrong in a test: the k-th call of this operation fails (once, or from then on), is
// short, is interrupted. The operations are the system calls of the platform layer, those of the store's two
// doors, and allocations. They come in when a test program is linked: the product has nothing of this.
#pragma once

#include <atomic>
#include <optional>
#include <string>
#include <vector>

namespace faults {

enum class How {
  kFails,        // with an error of the device
  kNoRoom,       // with a full disk
  kShort,        // does a part, and says so: as a success where that is one; for good: then the disk is full
  kInterrupted,  // by a signal, or by another transaction
  kLost,         // is done, and fails all the same
  kSignal        // SIGTERM comes before it
};

struct Fault {
  std::string operation;
  std::size_t call = 0;  // which of its calls, from 1
  How how = How::kFails;
  bool forGood = false;  // and each that comes after that
};
// As text, which `FromText` reads: "write 3 short once".
[[nodiscard]] std::string ToText(const Fault& fault);
[[nodiscard]] Fault FromText(const std::string& text);

// Counts from here on, and lets this fault happen; without one only counts.
void Begin(const Fault& fault = {});
// Nothing happens any more, and nothing is counted.
void End();
// The same for a while.
class Pause {
 public:
  Pause();
  Pause(const Pause&) = delete;
  Pause& operator=(const Pause&) = delete;
  ~Pause();

 private:
  bool counted_;
};
[[nodiscard]] bool IsCounting();
[[nodiscard]] bool IsForGood();
// Each call of each operation since `Begin`, in each way in which it can go wrong.
[[nodiscard]] std::vector<Fault> All();

// Which of so many faults a test tries: about as many as `usual`, or one in so many as SWEEP_STEP says in the
// environment (1: all).
[[nodiscard]] std::size_t StepOf(std::size_t all, std::size_t usual);
// The faults that a test tries, by `StepOf`; or the one that SWEEP_FAULT names in the environment. Prints how
// many they are. Throws if there is none to try.
[[nodiscard]] std::vector<Fault> Sample(const std::vector<Fault>& all, std::size_t usual);

// One operation, for as long as the process lives. Its ways: a letter for each, of which a capital one can be
// for good too: f(ails), n(o room), s(hort), i(nterrupted), l(ost), t(ermination signal).
class Operation {
 public:
  constexpr Operation(const char* name, const char* ways) : name_(name), ways_(ways) {}

  // Before each call: what is to become of it. Needs no memory, and may be called by several threads, and in
  // the handler of a signal.
  std::optional<How> Next();

 private:
  friend struct Table;
  const char* name_;
  const char* ways_;
  std::atomic<std::size_t> calls_ = 0;
  std::atomic<bool> known_ = false;
  Operation* next_ = nullptr;
};

}  // namespace faults
