#include "diag/component_trace.h"

#include <gtest/gtest.h>

#include <thread>

#include "support/trace_capture.h"

namespace {

TEST(ComponentTrace, DropsTheOldestBeyondItsLimitAndPrintsOneThreadAlone) {
  ZOVAgentFrameworkComponentTrace trace;
  const auto add = [&](const std::string& table) {
    trace.insert(new ZOVAgentFrameworkComponentTraceEntry(table.c_str()));
  };
  for (int i = 0; i < 53; ++i) add("T" + std::to_string(i));
  const TraceCapture capture("ERROR");
  std::thread([&] {
    const unsigned long self = pthread_self();
    add("mine");
    trace.printForThread(&self);
  }).join();
  trace.print();
  const std::vector<std::string> lines = capture.lines();
  ASSERT_EQ(lines.size(), 2U + 51U);
  EXPECT_NE(lines[0].find("Contents for thread id "), std::string::npos);
  EXPECT_NE(lines[1].find("table mine "), std::string::npos);
  EXPECT_TRUE(lines[2].ends_with("TSL Agent Framework Internal Trace Table Contents"));
  EXPECT_NE(lines[3].find(" TSL agent framework processing request for table T4 Thread "), std::string::npos);
}

}  // namespace
