// A thread without which the work is only slower, or shows less.
#pragma once

#include <functional>
#include <system_error>
#include <thread>

namespace store {

// Gives no thread (not joinable) if the system has none left.
[[nodiscard]] inline std::thread StartThread(const std::function<void()>& work) {
  try {
    return std::thread(work);
  } catch (const std::system_error&) {
    return {};
  }
}

}  // namespace store
