// Memory that is reserved for the end of a run that has no memory left.
#pragma once

// To be created once, before anything else. When an allocation fails, the reserve is freed, and the
// allocation throws std::bad_alloc all the same. Whoever catches that has memory to close what is open.
class MemoryReserve {
 public:
  MemoryReserve();
  MemoryReserve(const MemoryReserve&) = delete;
  MemoryReserve& operator=(const MemoryReserve&) = delete;
  ~MemoryReserve();
};
