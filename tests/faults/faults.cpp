#include "faults/faults.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace faults {
namespace {

constexpr std::pair<How, const char*> kWays[] = {{How::kFails, "fails"}, {How::kNoRoom, "no-room"},
                                                 {How::kShort, "short"}, {How::kInterrupted, "interrupted"},
                                                 {How::kLost, "lost"},   {How::kSignal, "termination"}};

std::atomic<bool> counting = false;
std::atomic<Operation*> first = nullptr;
// What is to happen. It is changed while nothing is counted, and read in the middle of an allocation.
constinit Fault planned;

}  // namespace

struct Table {
  static void Enter(Operation& operation) {
    if (!operation.known_.exchange(true)) {
      operation.next_ = first;
      while (!first.compare_exchange_weak(operation.next_, &operation)) {
      }
    }
  }

  static void Reset() {
    for (Operation* one = first; one != nullptr; one = one->next_) {
      one->calls_ = 0;
    }
  }

  static void AddAll(std::vector<Fault>& all) {
    for (const Operation* one = first; one != nullptr; one = one->next_) {
      for (std::size_t call = 1; call <= one->calls_; ++call) {
        for (const char* way = one->ways_; *way != '\0'; ++way) {
          const auto letter = static_cast<char>(std::tolower(static_cast<unsigned char>(*way)));
          const auto* how = std::find_if(std::begin(kWays), std::end(kWays),
                                         [letter](const auto& known) { return known.second[0] == letter; });
          all.push_back({one->name_, call, how->first, false});
          if (*way != letter) {
            all.push_back({one->name_, call, how->first, true});
          }
        }
      }
    }
  }
};

std::optional<How> Operation::Next() {
  if (!counting) {
    return std::nullopt;
  }
  Table::Enter(*this);
  const std::size_t call = ++calls_;
  if (planned.call == 0 || call < planned.call || (call > planned.call && !planned.forGood) ||
      std::strcmp(name_, planned.operation.c_str()) != 0) {
    return std::nullopt;
  }
  return planned.how == How::kShort && call > planned.call ? How::kNoRoom : planned.how;
}

std::string ToText(const Fault& fault) {
  const auto* way = std::find_if(std::begin(kWays), std::end(kWays),
                                 [&fault](const auto& one) { return one.first == fault.how; });
  return fault.operation + " " + std::to_string(fault.call) + " " + way->second +
         (fault.forGood ? " for-good" : " once");
}

Fault FromText(const std::string& text) {
  std::istringstream words(text);
  Fault fault;
  std::string how;
  std::string times;
  words >> fault.operation >> fault.call >> how >> times;
  for (const auto& [way, name] : kWays) {
    fault.how = how == name ? way : fault.how;
  }
  fault.forGood = times == "for-good";
  return fault;
}

void Begin(const Fault& fault) {
  counting = false;
  Table::Reset();
  planned = fault;
  counting = true;
}

void End() { counting = false; }

Pause::Pause() : counted_(counting.exchange(false)) {}

Pause::~Pause() { counting = counted_; }

bool IsCounting() { return counting; }

bool IsForGood() { return planned.forGood; }

std::vector<Fault> All() {
  std::vector<Fault> all;
  Table::AddAll(all);
  return all;
}

std::size_t StepOf(std::size_t all, std::size_t usual) {
  // A run takes several times as long there.
#if defined(__SANITIZE_ADDRESS__) || defined(_WIN32)
  usual = std::max<std::size_t>(usual / 4, 1);
#endif
  const char* step = std::getenv("SWEEP_STEP");
  return std::max<std::size_t>(step != nullptr ? std::strtoul(step, nullptr, 10) : all / usual, 1);
}

std::vector<Fault> Sample(const std::vector<Fault>& all, std::size_t usual) {
  if (const char* only = std::getenv("SWEEP_FAULT")) {
    return {FromText(only)};
  }
  if (all.empty()) {
    throw std::runtime_error("there is no operation that could go wrong");
  }
  const std::size_t step = std::min(StepOf(all.size(), usual), all.size());
  std::vector<Fault> some;
  for (std::size_t i = step / 2; i < all.size(); i += step) {
    some.push_back(all[i]);
  }
  std::puts((std::to_string(some.size()) + " of " + std::to_string(all.size()) + " faults").c_str());
  return some;
}

}  // namespace faults
