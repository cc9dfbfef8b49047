#include "backint/base/memory_reserve.h"

#include <memory>
#include <new>

namespace {

// Enough to run two tools, one after the other, and to read their output.
constexpr std::size_t kReserve = 512 * 1024;

std::unique_ptr<char[]> reserve;

void GiveBack() {
  std::set_new_handler(nullptr);
  reserve.reset();
  throw std::bad_alloc();
}

}  // namespace

MemoryReserve::MemoryReserve() {
  reserve = std::make_unique_for_overwrite<char[]>(kReserve);
  std::set_new_handler(GiveBack);
}

MemoryReserve::~MemoryReserve() {
  std::set_new_handler(nullptr);
  reserve.reset();
}
