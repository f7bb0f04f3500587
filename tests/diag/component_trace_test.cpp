#include "diag/component_trace.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "platform/trace.h"

namespace {

class ComponentTraceTest : public testing::Test {
 protected:
  void SetUp() override {
    DGT1_SetSink([](const char*, int, std::string_view text,
                    void* context) { static_cast<std::vector<std::string>*>(context)->emplace_back(text); },
                 &lines);
  }
  void TearDown() override { DGT1_SetSink(nullptr, nullptr); }

  static ZOVAgentFrameworkComponentTraceEntry* entry(int number) {
    return new ZOVAgentFrameworkComponentTraceEntry(("T" + std::to_string(number)).c_str());
  }

  ZOVAgentFrameworkComponentTrace trace;
  std::vector<std::string> lines;
};

TEST_F(ComponentTraceTest, DropsTheOldestBeyondItsLimit) {
  for (int i = 0; i < 53; ++i) trace.insert(entry(i));
  EXPECT_EQ(trace.entries(), 50U);
  trace.print();
  ASSERT_EQ(lines.size(), 51U);
  EXPECT_EQ(lines[0], "TSL Agent Framework Internal Trace Table Contents");
  EXPECT_NE(lines[1].find(" TSL agent framework processing request for table T3 Thread "), std::string::npos);
  EXPECT_NE(lines[50].find("table T52 "), std::string::npos);
}

TEST_F(ComponentTraceTest, PrintsOneThreadAlone) {
  trace.insert(entry(1));
  unsigned long other = 0;
  std::thread([&] {
    other = pthread_self();
    trace.insert(entry(2));
  }).join();
  trace.printForThread(&other);
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_NE(lines[0].find("Contents for thread id "), std::string::npos);
  EXPECT_NE(lines[1].find("table T2 "), std::string::npos);

  lines.clear();
  const unsigned long nobody = 1;
  trace.printForThread(&nobody);
  EXPECT_EQ(lines.size(), 1U);
}

TEST_F(ComponentTraceTest, KeepsBinaryArguments) {
  auto* withArguments = entry(1);
  withArguments->newArgument("row", "a\0b", 3);
  withArguments->newArgument("nothing", nullptr, 4);
  withArguments->newArgument("negative", "x", -1);
  RWSlistCollectablesIterator next(withArguments->getArguments());
  std::vector<std::size_t> lengths;
  while (RWCollectable* argument = next()) {
    lengths.push_back(static_cast<ZOVComponentTraceEntryArgument*>(argument)->getValue().length());
  }
  EXPECT_EQ(lengths, (std::vector<std::size_t>{3, 0, 0}));
  trace.insert(withArguments);
  trace.print();
  EXPECT_EQ(lines.size(), 5U) << "title, entry, three arguments";
}

}  // namespace
