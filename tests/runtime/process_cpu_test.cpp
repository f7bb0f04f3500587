#include "runtime/process_cpu.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

namespace {

TEST(ProcessCpu, ReadsTheTextOfProc) {
  const std::string rest = " S 1 4242 4242 0 -1 4194560 100 200 3 4 250 50 7 8 20 0 1 0 12345 1000000 300\n";
  const std::pair<std::string, std::int64_t> cases[] = {
      {"4242 (java)" + rest, 3000},
      {"4242 (ja) va) 9 (x)" + rest, 3000},
      {"4243 (java)" + rest, -1},
      {"4242 java" + rest, -1},
      {"4242 (java) S 1 4242 4242 0 -1 4194560 100 200 3 4 250", -1},
      {"4242 (java) S 1 4242 4242 0 -1 4194560 100 200 3 4 x 50", -1},
      {"", -1},
  };
  for (const auto& [text, expected] : cases) EXPECT_EQ(zovParseProcessStat(text, 4242), expected) << text;
  EXPECT_GE(zovProcessCPUUsage(static_cast<unsigned int>(getpid())), 0);
  EXPECT_EQ(zovProcessCPUUsage(0xFFFFFFFF), -1);
}

}  // namespace
