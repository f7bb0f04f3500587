#include "diag/component_trace.h"

#include <gtest/gtest.h>

#include <thread>

#include "support/trace_capture.h"

namespace {

void add(ZOVAgentFrameworkComponentTrace& trace, int number) {
  trace.insert(new ZOVAgentFrameworkComponentTraceEntry(("T" + std::to_string(number)).c_str()));
}

TEST(ComponentTrace, DropsTheOldestBeyondItsLimit) {
  ZOVAgentFrameworkComponentTrace trace;
  const TraceCapture capture("ERROR");
  for (int i = 0; i < 53; ++i) add(trace, i);
  trace.print();
  const std::vector<std::string> lines = capture.lines();
  ASSERT_EQ(lines.size(), 51U);
  EXPECT_TRUE(lines[0].ends_with("TSL Agent Framework Internal Trace Table Contents"));
  EXPECT_NE(lines[1].find(" TSL agent framework processing request for table T3 Thread "), std::string::npos);
  EXPECT_NE(lines[50].find("table T52 "), std::string::npos);
}

TEST(ComponentTrace, PrintsOneThreadAloneWithBinaryArguments) {
  ZOVAgentFrameworkComponentTrace trace;
  const TraceCapture capture("ERROR");
  add(trace, 1);
  std::thread([&] {
    const unsigned long self = pthread_self();
    auto* entry = new ZOVAgentFrameworkComponentTraceEntry("T2");
    entry->newArgument("row", "a\0b", 3);
    entry->newArgument("nothing", nullptr, 4);
    entry->newArgument("negative", "x", -1);
    trace.insert(entry);
    trace.printForThread(&self);
    DGT1_Configure("MESSAGE");
    trace.print();
  }).join();
  const std::vector<std::string> lines = capture.lines();
  ASSERT_EQ(lines.size(), 5U) << "title, entry, three arguments; and nothing without the error bit";
  EXPECT_NE(lines[0].find("Contents for thread id "), std::string::npos);
  EXPECT_NE(lines[1].find("table T2 "), std::string::npos);
}

}  // namespace
