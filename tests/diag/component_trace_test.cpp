#include "diag/component_trace.h"

#include <gtest/gtest.h>

#include <thread>

#include "support/trace_capture.h"

namespace {

TEST(ComponentTrace, DropsTheOldestBeyondItsLimitAndPrintsOneThreadAlone) {
  ZOVAgentFrameworkComponentTrace trace;
  for (int i = 0; i < 53; ++i) {
    trace.insert(new ZOVAgentFrameworkComponentTraceEntry(("T" + std::to_string(i)).c_str()));
  }
  {
    const TraceCapture capture("ERROR");
    trace.print();
    const std::vector<std::string> lines = capture.lines();
    ASSERT_EQ(lines.size(), 51U);
    EXPECT_TRUE(lines[0].ends_with("TSL Agent Framework Internal Trace Table Contents"));
    EXPECT_NE(lines[1].find(" TSL agent framework processing request for table T3 Thread "),
              std::string::npos);
    EXPECT_NE(lines[50].find("table T52 "), std::string::npos);
  }
  const TraceCapture capture("ERROR");
  std::thread([&] {
    const unsigned long self = pthread_self();
    auto* entry = new ZOVAgentFrameworkComponentTraceEntry("mine");
    entry->newArgument("row", "a\0b", 3);
    entry->newArgument("nothing", nullptr, 4);
    entry->newArgument("negative", "x", -1);
    trace.insert(entry);
    trace.printForThread(&self);
  }).join();
  EXPECT_EQ(capture.lines().size(), 5U) << "title, entry, three arguments";
  EXPECT_TRUE(capture.has("Contents for thread id ") && capture.has("table mine "));
}

}  // namespace
