#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <new>

#include "runtime/memory_manager.h"
#include "runtime/recovery.h"
#include "runtime/trace_scope.h"
#include "support/environment_variable.h"
#include "support/test_environment.h"
#include "support/trace_capture.h"

static DGT1_Unit traceUnit("ZOVTMEMO");

namespace {

std::size_t current() {
  return ZOVMemoryManager::CurrentAllocation.load();
}

class Record : public ZOVMemoryManager {
 public:
  std::array<char, 1000> bytes{};
};

TEST(Memory, CountsWhatIsInUse) {
  const std::size_t before = current();
  void* storage = ZOVMemoryManager::allocate(100);
  EXPECT_GE(ZOVMemoryManager::HighWaterMark.load(), before + 100);
  ZOVMemoryManager* record = new Record;
  EXPECT_EQ(current(), before + 100 + sizeof(Record));
  delete record;
  ZOVMemoryManager::release(nullptr, 50);
  EXPECT_EQ(current(), before + 100);
  ZOVMemoryManager::release(storage, before + 200);
  EXPECT_EQ(current(), 0U);
}

TEST(Memory, StorageThatCannotBeHadIsARaise) {
  const TraceCapture trace;
  const std::size_t before = current();
  volatile std::size_t tooMuch = SIZE_MAX - 64;
  EXPECT_EQ(ZOVMemoryManager::allocate(tooMuch), nullptr);
  EXPECT_THROW(ZOVMemoryManager::operator new(tooMuch), std::bad_alloc);
  EXPECT_TRUE(trace.has("Memory allocation for FFFFFFFFFFFFFFBF bytes has failed"));

  TestEnvironment environment;
  const auto failure = guarded("ZOVTMEMO", "Memory", [&] { ZOVMemoryManager::allocate(tooMuch); });
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->getReturnCode(), ZOV_OUT_OF_STORAGE);
  EXPECT_EQ(current(), before);
}

/// Runs in a process of its own, since the heap trace is decided by the first allocation.
void walkTheHeap() {
  const EnvironmentVariable heapTrace("ZOV_HEAP_DEBUG", "yes");
  TestEnvironment environment;
  environment.setInternalTrace(0x1E00);
  TraceCapture trace("ERROR");
  guarded("ZOVTMEMO", "walkTheHeap", [&] {
    ZOV_TRACE(Public);
    const std::size_t before = current();
    void* kept = ZOVMemoryManager::allocate(40);
    void* gone = ZOVMemoryManager::allocate(1000);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(kept) % 16, 0U);
    EXPECT_EQ(current(), before + 1040 + 2 * 168);
    std::memset(kept, 'k', 40);
    ZOVMemoryManager::release(gone, 1000);
    EXPECT_EQ(current(), before + 40 + 168);
    ZOVMemoryManager::displayMemoryUse();
    ZOVMemoryManager::release(kept, 40);
  });
  EXPECT_TRUE(trace.has("40 bytes of storage allocated at "));
  EXPECT_TRUE(trace.has(" by ZOVTMEMO : walkTheHeap"));
  EXPECT_TRUE(trace.has("*kkkkkkkkkkkkkkkk*"));
  EXPECT_FALSE(trace.has("1000 bytes of storage"));
}

TEST(MemoryDeathTest, HeapTraceShowsTheBlocks) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        walkTheHeap();
        std::exit(testing::Test::HasFailure() ? 1 : 0);
      },
      testing::ExitedWithCode(0), "");
}

}  // namespace
