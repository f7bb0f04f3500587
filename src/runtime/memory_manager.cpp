#include "runtime/memory_manager.h"

#include <strings.h>

#include <cstdint>
#include <cstring>
#include <new>

#include "foundation/time.h"
#include "platform/mutex.h"
#include "platform/services.h"
#include "platform/trace.h"
#include "runtime/environment.h"
#include "runtime/recovery.h"

static DGT1_Unit traceUnit("ZOVCMEMM");

constinit std::atomic<std::size_t> ZOVMemoryManager::CurrentAllocation{0};
constinit std::atomic<std::size_t> ZOVMemoryManager::HighWaterMark{0};

namespace {

/// What stands ahead of each block while the heap trace is on.
struct alignas(16) Prefix {
  Prefix* next = this;
  Prefix* previous = this;
  std::size_t size = 0;  // of the block, with the prefix as it is counted
  std::uint32_t time = 0;
  char sourceTag[32] = {};
  char function[120] = {};
};

// What a prefix adds to the counters; its size in storage follows the alignment.
constexpr std::size_t countedPrefix = 168;
constexpr std::size_t displayedBytes = 64;

zov::Mutex heapTraceMutex;                               // innermost
Prefix firstAllocPrefix ZOV_GUARDED_BY(heapTraceMutex);  // head of the circular list

bool heapTrace() {
  static const bool on = strcasecmp(OSL1_GetEnv("ZOV_HEAP_DEBUG", "NO"), "YES") == 0;
  return on;
}

template <std::size_t N>
void copyCut(char (&to)[N], const RWCString& from) {
  const std::size_t length = std::min(from.length(), N - 1);
  std::memcpy(to, from.data(), length);
  to[length] = 0;
}

void* linkBlock(void* storage, std::size_t size) {
  auto* prefix = new (storage) Prefix;
  prefix->size = size;
  prefix->time = RWTime::currentTime().seconds();
  if (const ZOVAgentEnvironment* environment = ZOVAgentEnvironment::pEnvironment.load()) {
    RWCString tag, function;
    if (environment->getSourceFileAndFunctionName(tag, function, 0)) {
      copyCut(prefix->sourceTag, tag);
      copyCut(prefix->function, function);
    }
  }
  const zov::MutexLock lock(heapTraceMutex);
  prefix->next = firstAllocPrefix.next;
  prefix->previous = &firstAllocPrefix;
  prefix->next->previous = prefix;
  firstAllocPrefix.next = prefix;
  return prefix + 1;
}

void* unlinkBlock(void* pointer) {
  Prefix* prefix = static_cast<Prefix*>(pointer) - 1;
  const zov::MutexLock lock(heapTraceMutex);
  prefix->previous->next = prefix->next;
  prefix->next->previous = prefix->previous;
  return prefix;
}

// Plain additions: on a counter that many threads share, an atomic one would cost more than the allocation.
// An update that is lost between two threads is of no harm.
void count(std::size_t size) {
  const std::size_t now = ZOVMemoryManager::CurrentAllocation.load(std::memory_order_relaxed) + size;
  ZOVMemoryManager::CurrentAllocation.store(now, std::memory_order_relaxed);
  if (now <= ZOVMemoryManager::HighWaterMark.load(std::memory_order_relaxed)) return;
  ZOVMemoryManager::HighWaterMark.store(now, std::memory_order_relaxed);
}

void uncount(std::size_t size) {
  const std::size_t now = ZOVMemoryManager::CurrentAllocation.load(std::memory_order_relaxed);
  ZOVMemoryManager::CurrentAllocation.store(size < now ? now - size : 0, std::memory_order_relaxed);
}

}  // namespace

void* ZOVMemoryManager::allocate(std::size_t size) {
  const bool traced = heapTrace();
  const std::size_t counted = size + (traced ? countedPrefix : 0);
  const std::size_t stored = size + (traced ? sizeof(Prefix) : 0);
  // Sizes that no object can have are refused here: the sum above may have wrapped.
  void* storage = size <= PTRDIFF_MAX - sizeof(Prefix) ? ::operator new(stored, std::nothrow) : nullptr;
  if (!storage) {
    DGT1_Printf(traceUnit, DGT1_MESSAGE, "Memory allocation for %08X bytes has failed", counted);
    zovRaise(ZOVException::recoverable(ZOV_OUT_OF_STORAGE));
    return nullptr;
  }
  count(counted);
  return traced ? linkBlock(storage, counted) : storage;
}

void ZOVMemoryManager::release(void* pointer, std::size_t size) {
  if (!pointer) return;
  const bool traced = heapTrace();
  ::operator delete(traced ? unlinkBlock(pointer) : pointer);
  uncount(size + (traced ? countedPrefix : 0));
}

void* ZOVMemoryManager::operator new(std::size_t size) {
  void* storage = allocate(size);
  if (!storage) throw std::bad_alloc();
  return storage;
}

void ZOVMemoryManager::operator delete(void* pointer, std::size_t size) {
  release(pointer, size);
}

void ZOVMemoryManager::displayMemoryUse() {
  DGT1_Printf(traceUnit, DGT1_ERROR, "The current amount of memory in use is %i", CurrentAllocation.load());
  DGT1_Printf(traceUnit, DGT1_ERROR, "The high water amount of memory used is %i", HighWaterMark.load());
  if (heapTrace()) heapWalk();
}

void ZOVMemoryManager::heapWalk() {
  if (!traceUnit.on(DGT1_ERROR)) return;
  const zov::MutexLock lock(heapTraceMutex);
  DGT1_Printf(traceUnit, DGT1_ERROR, "Contents of configuration heap follows:");
  for (const Prefix* block = firstAllocPrefix.next; block != &firstAllocPrefix; block = block->next) {
    struct tm fields {};
    RWTime(block->time).extract(&fields);
    char time[32];
    std::strftime(time, sizeof time, "%m/%d/%Y %H:%M:%S", &fields);
    const std::size_t size = block->size - countedPrefix;
    const std::size_t shown = std::min(size, displayedBytes);
    DGT1_Printf(traceUnit, DGT1_ERROR, "%i bytes of storage allocated at %s by %s : %s", size, time,
                block->sourceTag, block->function);
    DGT1_Printf(traceUnit, DGT1_ERROR, "%i bytes displayed from this allocation", shown);
    SnapHex(traceUnit, block + 1, shown, "Storage");
  }
  DGT1_Printf(traceUnit, DGT1_ERROR, "End contents of configuration heap");
}
