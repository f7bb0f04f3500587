#include "runtime/budgets.h"

#include <gtest/gtest.h>

#include "runtime/memory_account.h"
#include "support/environment_variable.h"
#include "support/trace_capture.h"

namespace {

TEST(Budgets, TheMemoryLimitIsWhatTheEnvironmentSays) {
  const ZOVBudgets former = zovBudgets();
  const struct {
    const char* setting;
    std::size_t bytes;  // 0: refused
  } cases[] = {
      {"1048576", 1048576},
      {"1M", 1 << 20},
      {"64m", 64 << 20},
      {"2048K", 2 << 20},
      {"3G", 3UL << 30},
      {"1048575", 0},
      {"", 0},
      {"many", 0},
      {"-1", 0},
      {"1M extra", 0},
      {"1T", 0},
      {"18446744073709551615G", 0},
      {" 4M", 0},
      {"0x100000000", 0},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.setting);
    zovBudgets() = former;
    const EnvironmentVariable limit("ZOV_MEMORY_LIMIT", test.setting);
    const TraceCapture trace;
    zovReadBudgets();
    EXPECT_EQ(zovBudgets().allServers.bytes, test.bytes != 0 ? test.bytes : former.allServers.bytes);
    EXPECT_EQ(trace.has("bytes are accepted"), test.bytes == 0);
  }
  zovBudgets() = former;
}

TEST(MemoryAccount, ChargesAllOfItOrNothingHereAndInTheWhole) {
  const ZOVBudget large{"all", 100}, small{"one", 60};
  zov::MemoryAccount whole(large);
  {
    zov::MemoryAccount first(small, &whole), second(small, &whole);
    EXPECT_EQ(first.charge(60), nullptr);
    EXPECT_EQ(first.charge(1), &small);
    EXPECT_EQ(second.charge(41), &large);
    EXPECT_EQ(second.used(), 0U);
    EXPECT_EQ(second.charge(40), nullptr);
    first.add(5);  // is there already
    EXPECT_EQ(whole.used(), 105U);
    EXPECT_EQ(second.charge(1), &large);
    first.release(65);
    EXPECT_EQ(second.charge(static_cast<std::size_t>(-1)), &small) << "the sum wraps";
  }
  EXPECT_EQ(whole.used(), 0U);
}

}  // namespace
