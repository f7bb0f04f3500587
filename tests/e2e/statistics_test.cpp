// The servers' own statistics, as a person at the HTTP interface sees them, with the real agent and a
// scripted statistics JVM.

#include <gmock/gmock.h>

#include "support/agent_process.h"
#include "support/comes_true.h"
#include "support/fake_statistics_jvm.h"

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::Pair;

namespace {

struct Server {
  Server(AgentProcess& agent, const std::string& name) : collector(agent.collectorPort()) {
    collector.send(wirePing(7, name, "/srv/" + name, ::getpid()));
    EXPECT_TRUE(collector.receive());
    collector.serve();
    const auto asked = collector.waitForRequest(FakeStatisticsJVM::Initiate);
    EXPECT_TRUE(asked);
    EXPECT_EQ(asked->number(3), agent.collectorPort());
    jvm = std::make_unique<FakeStatisticsJVM>(agent.collectorPort(), asked->number(1400).value_or(0));
    EXPECT_TRUE(jvm->isAccepted());
    jvm->describe("instanceName=" + name + "\ntslCellName=cell\n");
    jvm->script(FakeStatisticsJVM::GetAllData, [this](FakeStatisticsJVM& self, const WireMessage& request) {
      const std::string created = std::to_string(sets += 40);
      self.send(
          self.sampleFor(request, 7, "dbname=a data source with a long, long name\nnumCreates=" + created));
      self.send(self.sampleFor(request, 67, "cont_name=pages\n"));
      self.send(self.sampleFor(request, 1, "usedMemory=1234\n"));
      self.sendEnd(request);
    });
    jvm->serve();
  }
  FakeCollector collector;
  std::atomic<int> sets{0};
  std::unique_ptr<FakeStatisticsJVM> jvm;  // goes first, since its script counts the sets
};

}  // namespace

TEST(Statistics, BecomeRowsWithTheirRates) {
  AgentProcess agent;
  agent.configure(
      "[Basic_Config]\nZOV_RESOURCE_SAMPLEMETHOD = FIXED\n[Advanced_Agent_Config]\nZOV_PORT = {port}\n"
      "[Advanced_J2EE_Config]\nZOV_RESOURCE_FIXEDINTERVAL_TIME = 1\n");
  ASSERT_NO_FATAL_FAILURE(agent.start());
  Server server(agent, "shop");
  std::vector<TestRow> pools;
  ASSERT_TRUE(comesTrue([&] {
    pools = agent.rows("ZOVDBCONP");
    return pools.size() == 1 && pools[0]["num_create"] != "-1";
  }));
  EXPECT_EQ(pools[0]["dssh_name"], "a data source with a long,000000");
  const int created = std::stoi(pools[0]["num_create"]);
  EXPECT_EQ(created % 40, 0);
  EXPECT_EQ(std::stoi(pools[0]["rte_create"]), created * 1000 / std::stoi(pools[0]["int_time"]));
  EXPECT_THAT(agent.rows("ZOVCACHE"), ElementsAre(Contains(Pair("psi_enable", "1"))));
  EXPECT_THAT(agent.rows("ZOVAPSST"), ElementsAre(Contains(Pair("tsl_cnam", "cell"))));
  EXPECT_THAT(agent.rows("ZOVAPSRV"), ElementsAre(Contains(Pair("pid", std::to_string(::getpid())))));

  // Without its JVM the server keeps what it had.
  server.jvm->close();
  ASSERT_TRUE(comesTrue([&] {
    const auto caches = agent.rows("ZOVCACHE");
    return caches.size() == 1 && caches[0].at("psi_enable") == "0";
  }));
  EXPECT_EQ(agent.rows("ZOVDBCONP").size(), 1u);
  EXPECT_EQ(agent.rows("ZOVAPSRV").size(), 1u);
  EXPECT_EQ(agent.stop(SIGTERM), 0);
}
