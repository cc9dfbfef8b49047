// Memory that is kept back for the end of a run that has none left.
#pragma once

// Made once, first of all. When memory is exhausted it is given back, and the allocation fails all the same:
// what catches that can close what is open.
class MemoryReserve {
 public:
  MemoryReserve();
  MemoryReserve(const MemoryReserve&) = delete;
  MemoryReserve& operator=(const MemoryReserve&) = delete;
  ~MemoryReserve();
};
