#include "runtime/internal_trace.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "runtime/recovery.h"
#include "runtime/trace_scope.h"
#include "support/agent_thread.h"
#include "support/test_environment.h"
#include "support/trace_capture.h"

static DGT1_Unit traceUnit("ZOVTITRC");

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

std::vector<std::string> functionsOf(const ZOVInternalTraceTable& table) {
  std::vector<std::string> names;
  RWCString tag, function;
  for (int depth = 0; table.getSourceFileAndFunctionName(tag, function, depth); ++depth) {
    names.push_back(function.str());
  }
  return names;
}

TEST(InternalTrace, TheRingKeepsTheLastEntriesOldestFirst) {
  for (const int saved : {0, 1, 200, 201, 450}) {
    ZOVInternalTraceTable table(200);
    for (int i = 0; i < saved; ++i) table.save("ZOVTEST", ("f" + std::to_string(i)).c_str(), 0, i);
    TraceCapture trace;
    table.print();
    int number = std::max(saved - 200, 0);
    for (const std::string& line : trace.lines()) {
      EXPECT_THAT(line, HasSubstr("Trace Entry: File: ZOVTEST  Function: f" + std::to_string(number++) +
                                  "   Type: Entry  Parm: 0X"));
    }
    EXPECT_EQ(number, saved);
  }
  ZOVInternalTraceEntry entry;
  entry.set(std::string(40, 't').c_str(), std::string(300, 'f').c_str(), 1, -1);
  EXPECT_EQ(std::string(entry.getTag()), std::string(19, 't'));
  EXPECT_EQ(std::string(entry.getFunction()), std::string(119, 'f'));
}

TEST(InternalTrace, AnExitLeavesAllFunctionsDownToItsOwn) {
  ZOVInternalTraceTable table(3);
  const auto enter = [&](const char* function) { table.save("ZOVTEST", function, 0, 0); };
  const auto leave = [&](const char* function) { table.save("ZOVTEST", function, 1, 0); };
  for (const char* function : {"a", "b", "c", "beyond the stack"}) enter(function);
  TraceCapture lines;
  table.printStackDump();
  EXPECT_THAT(lines.lines(), ElementsAre(HasSubstr("  2 ZOVTEST c"), HasSubstr("  1 ZOVTEST b"),
                                         HasSubstr("  0 ZOVTEST a")));
  leave("b");  // c was left by a raise
  EXPECT_THAT(functionsOf(table), ElementsAre("a"));
  enter("d");
  leave("beyond the stack");
  EXPECT_THAT(functionsOf(table), IsEmpty());
}

void minor() {
  ZOV_TRACE(Minor);
}
void innermost() {
  ZOV_TRACE(Public);
  minor();
  zovRaise(
      ZOVException(9, 1, 0, ZOVException::DumpWhenDisplayed, ZOVException::Error, ZOVException::Display));
}
void outer() {
  ZOV_TRACE(Public);
  guarded("ZOVTITRC", "frame", innermost);
}

TEST(InternalTrace, ThePreambleFeedsTheThreadsTableByLevel) {
  struct Case {
    std::uint32_t mask;
    int outers, minors;
  };
  for (const Case& c : {Case{0, 0, 0}, Case{0x200, 1, 0}, Case{0x1E00, 1, 1}}) {
    TestEnvironment environment;
    environment.setInternalTrace(c.mask);
    TraceCapture lines;
    AgentThread(outer).join();
    EXPECT_EQ(lines.count("Function: outer   Type: Entry"), c.outers);
    EXPECT_EQ(lines.count("Function: minor   Type: Entry"), c.minors);
    EXPECT_EQ(lines.count("ZOVTITRC innermost"), c.outers) << "the stack dump names where the raise began";
  }
  EXPECT_EQ(DGT1_PreambleMask.load() & 0x1E00u, 0u);
}
}  // namespace
