#include "runtime/budgets.h"

#include <gtest/gtest.h>

#include "runtime/memory_account.h"
#include "support/environment_variable.h"
#include "support/trace_capture.h"

namespace {

TEST(Budgets, TheMemoryLimitIsWhatTheEnvironmentSays) {
  const ZOVBudgets former = zovBudgets();
  const std::pair<const char*, std::size_t> cases[] = {
      // 0: refused
      {"1048576", 1048576}, {"64m", 64 << 20}, {"2048K", 2 << 20}, {"3G", 3UL << 30},
      {"1048575", 0},       {"", 0},           {"many", 0},        {"-1", 0},
      {"1M extra", 0},      {"1T", 0},         {" 4M", 0},         {"18446744073709551615G", 0},
  };
  for (const auto& [setting, bytes] : cases) {
    SCOPED_TRACE(setting);
    zovBudgets() = former;
    const EnvironmentVariable limit("ZOV_MEMORY_LIMIT", setting);
    const TraceCapture trace;
    zovReadBudgets();
    EXPECT_EQ(zovBudgets().allServers.bytes, bytes != 0 ? bytes : former.allServers.bytes);
    EXPECT_EQ(trace.has("bytes are accepted"), bytes == 0);
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
