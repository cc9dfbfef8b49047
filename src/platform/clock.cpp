#include <chrono>
#include <ctime>

#include "platform/internal.h"

namespace platform {
namespace {

Clock g_replaced;

}  // namespace

std::int32_t Time32() { return static_cast<std::int32_t>(static_cast<std::uint32_t>(std::time(nullptr))); }

void SleepMilliseconds(std::uint32_t milliseconds) {
  if (g_replaced.sleepMilliseconds != nullptr) {
    g_replaced.sleepMilliseconds(milliseconds);
    return;
  }
  internal::SystemSleep(milliseconds);
}

std::uint64_t SteadyMilliseconds() {
  if (g_replaced.steadyMilliseconds != nullptr) {
    return g_replaced.steadyMilliseconds();
  }
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
}

void ReplaceClock(const Clock& clock) { g_replaced = clock; }

}  // namespace platform
