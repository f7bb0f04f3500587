#include "agent_fixture.h"
#include "diag/component_trace.h"
#include "framework/process.h"
#include "server/application_server.h"
#include "support/comes_true.h"

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

std::vector<std::string> logTexts;

}  // namespace

TEST_F(Agent, FollowsTheLogOfAServer) {
  const std::string log =
      directory.write("shop.log", "23-Nov-2026 10:08:28.123 INFO [main] o.e.Shop.open first\n");
  start("appServerName=shop\tserverRootDirectory=/srv\toccurrence=0\tsubnodeName=shop:host:ZOVS\townerUid=" +
            std::to_string(::geteuid()) + "\n",
        "[Advanced_J2EE_Config]\nZOV_APPSRVR_LOGSCANINTERVAL = 1\n"
        "[AppServer:shop]\nZOV_APPSRVR_NAME = shop\nZOV_APPSRVR_ROOT = /srv\nZOV_LOG_FORMAT = TOMCAT\n");
  const auto server = agent->applicationContext()->findAppServer("shop", "/srv");
  server->setLogFile(log);
  const auto texts = [&] {
    logTexts.clear();
    ZOVSampleCallbackParms parms;
    const auto see = [](ZOVSampleCallbackParms*, const void* sample, const ZOVApplicationServerBase*) {
      char text[257] = {};
      static_cast<const ZOVLogEventSample*>(sample)->copyMessage(text, 256);
      logTexts.emplace_back(text);
      return 0U;
    };
    EXPECT_EQ(agent->getLogFileSamples(see, &parms, server->getSubnodeName().data()), 0U);
    return logTexts;
  };
  EXPECT_TRUE(comesTrue([&] { return texts() == std::vector<std::string>{"first"}; }));
  std::ofstream(log, std::ios::app) << "23-Nov-2026 10:08:29.123 SEVERE [main] o.e.Shop.open second\n";
  EXPECT_TRUE(comesTrue([&] { return texts() == std::vector<std::string>{"first", "second"}; }));
  server->setLogFile(log);
  EXPECT_EQ(texts().size(), 2U) << "it is followed already";
  server->setLogFile(directory.write("other.log", ""));
  EXPECT_TRUE(texts().empty());
}

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
