#pragma once
// ZOVMemoryManager: counts what the agent's objects use, raises code 3 (recoverable) instead of returning
// null, and with ZOV_HEAP_DEBUG=YES keeps a walkable list of all blocks. The counters are for diagnosis: they
// are changed by plain additions, and one that meets another thread's may be lost. The base of nearly all
// classes, and a pair of functions for plain storage.

#include <atomic>
#include <cstddef>

class ZOVMemoryManager {
 public:
  virtual ~ZOVMemoryManager() = default;

  static void* operator new(std::size_t size);  // std::bad_alloc when no raise is possible
  static void* operator new(std::size_t, void* place) noexcept { return place; }
  static void operator delete(void* pointer, std::size_t size);

  /// Storage of `size` bytes. Out of storage: raises code 3; without a recovery element, null.
  static void* allocate(std::size_t size);
  /// Gives back what allocate gave; the size keeps the count right. Null is nothing.
  static void release(void* pointer, std::size_t size);

  static std::atomic<std::size_t> CurrentAllocation;  ///< bytes, with prefixes; never wraps below 0
  static std::atomic<std::size_t> HighWaterMark;

  /// Traces both counters and, with the heap trace on, the blocks; under the error bit.
  static void displayMemoryUse();
  static void heapWalk();
};
