// Memory that runs out, as an operation of the table: at one allocation alone, or, for good, as on a machine
// that has no more than what is in use at that moment.
#include <cstddef>
#include <cstdlib>
#include <limits>
#include <new>

#include "faults/faults.h"

namespace {

// In front of each block stands its size.
constexpr std::size_t kHeader = alignof(std::max_align_t);

constinit faults::Operation allocation("allocation", "F");
std::size_t inUse = 0;
std::size_t most = std::numeric_limits<std::size_t>::max();

bool IsLeft(std::size_t size) {
  if (!allocation.Next() || most != std::numeric_limits<std::size_t>::max()) {
    return most - inUse >= size || !faults::IsCounting();
  }
  most = faults::IsForGood() ? inUse : most;
  return false;
}

}  // namespace

void* operator new(std::size_t size) {
  while (!IsLeft(size)) {
    const std::new_handler handler = std::get_new_handler();
    if (handler == nullptr) {
      throw std::bad_alloc();
    }
    handler();
  }
  auto* block = static_cast<std::size_t*>(std::malloc(kHeader + size));
  if (block == nullptr) {
    throw std::bad_alloc();
  }
  // What is there before, or beside it, is nobody's.
  *block = faults::IsCounting() ? size : 0;
  inUse += *block;
  return reinterpret_cast<char*>(block) + kHeader;
}

// The other forms rest on the one above in the C++ library, but not in that of the sanitizers, which would
// give a block without a size to std::stable_sort.
void* operator new(std::size_t size, const std::nothrow_t& /*form*/) noexcept {
  try {
    return operator new(size);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

void* operator new[](std::size_t size) { return operator new(size); }

void operator delete(void* memory) noexcept {
  if (memory != nullptr) {
    auto* block = reinterpret_cast<std::size_t*>(static_cast<char*>(memory) - kHeader);
    inUse -= *block;
    std::free(block);
  }
}

void operator delete(void* memory, std::size_t /*size*/) noexcept { operator delete(memory); }

void operator delete[](void* memory) noexcept { operator delete(memory); }

void operator delete[](void* memory, std::size_t /*size*/) noexcept { operator delete(memory); }
