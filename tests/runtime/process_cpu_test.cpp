#include "runtime/process_cpu.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

namespace {

std::string stat(const std::string& pidAndName, const std::string& userTime, const std::string& systemTime) {
  return pidAndName + " S 1 4242 4242 0 -1 4194560 100 200 3 4 " + userTime + " " + systemTime +
         " 7 8 20 0 1 0 12345 1000000 300 18446744073709551615\n";
}

TEST(ProcessCpu, ReadsTheTextOfProc) {
  const struct {
    const char* what;
    std::string text;
    std::int64_t expected;
  } cases[] = {
      {"plain", stat("4242 (java)", "250", "50"), 3000},
      {"name with a bracket and a blank", stat("4242 (ja) va) 9 (x)", "250", "50"), 3000},
      {"another process", stat("4243 (java)", "250", "50"), -1},
      {"no bracket", "4242 java S 1 2 3", -1},
      {"cut short", "4242 (java) S 1 4242 4242 0 -1 4194560 100 200 3 4 250", -1},
      {"no number", stat("4242 (java)", "x", "50"), -1},
      {"empty", "", -1},
  };
  for (const auto& c : cases) EXPECT_EQ(zovParseProcessStat(c.text, 4242), c.expected) << c.what;
}

TEST(ProcessCpu, ReadsThisHost) {
  EXPECT_GE(zovProcessCPUUsage(static_cast<unsigned int>(getpid())), 0);
  EXPECT_EQ(zovProcessCPUUsage(0xFFFFFFFF), -1);
}

}  // namespace
