#include "agent_fixture.h"
#include "diag/component_trace.h"
#include "framework/process.h"

namespace {

class Agent : public AgentFixture {};

/// A request of a table with an origin node column.
class TableBox : public tqbox {
 public:
  TableBox() : tqbox(&_detail, nullptr, nullptr) { _rowSize = 36; }
  int NumColumns() override { return 1; }
  int GetColumnInfo(ColumnInfo* info, int index) override {
    if (index != 0) return 1;
    *info = {"originnode", 4, 32, ColumnInfo_SingleByteText};
    return 0;
  }

 private:
  RequestDetail _detail{"OV", "ZOVAPSRV"};
};

}  // namespace

TEST_F(Agent, TellsItsNodeNameAndTheNodeOfARequest) {
  start("", "[Basic_Config]\nZOV_ALT_NODEID = site\n");
  EXPECT_EQ(agent->getCurrentSystemName(), shortHostName().c_str());
  EXPECT_EQ(agent->getHostName("ignored"), ("site:" + shortHostName().substr(0, 22) + ":ZOVA").c_str());
  EXPECT_STREQ(ARQ_GetSubsystemId(), "site");

  CommandBox command("shop:host:ZOVS  ");
  EXPECT_EQ(ZOVAgent::DetermineName(&command, 9), "shop:host:ZOVS");
  TableBox table;
  char row[37];
  std::snprintf(row, sizeof row, "%-36s", "1234shop:host:ZOVS");
  table.InsertRow(row);
  EXPECT_EQ(ZOVAgent::DetermineName(&table, 0), "shop:host:ZOVS");
  EXPECT_EQ(ZOVAgent::DetermineName(&table, 1), "");
  EXPECT_EQ(ZOVAgent::DetermineName(nullptr, 0), "");
}

TEST_F(Agent, ReadsItsTraceSettings) {
  const struct {
    const char* internalTrace;
    std::uint32_t mask;
    const char* componentTrace;
    int kept;
  } cases[] = {{"public", 0x200, "YES", 1}, {"Private", 0xE00, "no", 1}, {"other", 0, "NO", 0}};
  for (const auto& c : cases) {
    ::setenv("ZOV_INTERNAL_TRACE", c.internalTrace, 1);
    ::setenv("ZOV_AGENT_COMPONENT_TRACE", c.componentTrace, 1);
    start("");
    EXPECT_EQ(agent->getInternalTraceMask(), c.mask);
    auto entry = std::make_unique<ZOVAgentFrameworkComponentTraceEntry>("ZOVAPP");
    EXPECT_EQ(agent->saveComponentTraceEntry(entry.get()), c.kept);
    if (c.kept) entry.release();
    agent.reset();
  }
}

TEST_F(Agent, AnswersAsAbsentWhatHasGone) {
  start("");
  EXPECT_EQ(ZOVAgent::current(), agent.get());
  agent.reset();
  EXPECT_EQ(ZOVAgent::current(), nullptr);
  TqboxAutomationCapsule capsule;
  EXPECT_EQ(ZOVAgent::handleQTCommand(&capsule), 7);
}
