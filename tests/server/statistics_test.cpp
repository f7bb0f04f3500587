// A server's own statistics, from a resource manager of the test's own.

#include <deque>
#include <functional>

#include "support/agent_thread.h"
#include "support/server_rig.h"

namespace {

/// Answers each request at once with what the test has laid ready.
class FakeManager : public ZOVResourceManagerProxy {
 public:
  ~FakeManager() override { shutdown(); }
  void backgroundProcessing() override {}
  ZOVReturnCode enumerateApplicationServers() override { return 0; }
  ZOVReturnCode pingApplicationServers(ZOVApplicationServerBase*) override { return 0; }
  ZOVReturnCode refreshNameCache(ZOVApplicationServerBase*) override { return 0; }
  ZOVReturnCode process(RPXCollectionRequest*, _ShouldMarkRequestComplete) override { return 0; }
  ZOVReturnCode startProcessing(RPXCollectionRequest& request) override {
    if (collecting) collecting();
    masks.push_back(request.getMask());
    parms.push_back(request.getParm1().str() + "|" + request.getParm2().str());
    if (result == 34) {
      request.setComplete(result);
      return result;
    }
    for (const auto& make : samples) request.insert(make());
    request.setComplete(result);
    return 0;
  }
  ZOVReturnCode createPSIClient(ZOVApplicationServerBase*) override { return ++clients, 0; }
  ZOVReturnCode suspendCollectingResourceData(ZOVApplicationServerBase*) override { return 177; }
  ZOVReturnCode resumeCollectingResourceData(ZOVApplicationServerBase*) override { return 177; }

  std::function<void()> collecting;  // runs at the begin of each collection
  std::vector<std::function<ZOVSample*()>> samples;
  ZOVReturnCode result;
  std::vector<unsigned long long> masks;
  std::vector<std::string> parms;
  std::atomic<int> clients{0};
};

class StatisticsTest : public testing::Test {
 protected:
  void build() {
    ZOVReturnCode rc;
    server = buildServer({.name = "shop", .rootDirectory = "/srv", .status = ServerConnected}, rc);
    ASSERT_TRUE(server);
  }
  static ZOVSample* container(const char* name, long long created) {
    auto* made = new ZOVContainerSample;
    made->saveStringData(6, name);
    made->saveNumericData(17, 0);
    made->saveNumericData(157, created);
    return made;
  }
  static ZOVSample* pool(long long created) {
    auto* made = new ZOVDBConnectPoolSample;
    made->saveStringData(8, "db");
    made->saveNumericData(240, created);
    return made;
  }

  StepClock clock;
  DiagnosticEnvironment environment;
  RecordingServerServices services;
  std::shared_ptr<FakeManager> manager = std::make_shared<FakeManager>();
  std::shared_ptr<ZOVApplicationServer> server;
  Reader reader;
};

TEST_F(StatisticsTest, WithoutAManagerTheServerKeepsItsRow) {
  build();
  EXPECT_EQ(server->takeSampleFromRPX(ZOVContainerAnchor()), ZOVReturnCode(34));
  EXPECT_EQ(server->takeSampleFromRPX(ZOVWorkloadAnchor(ZOVSample::SampleTypeWorkload)), ZOVReturnCode(0));
  server->setDCProbeManagerProcessId(4711);
  EXPECT_EQ(server->takeSampleFromRPX(ZOVAppServerAnchor()), ZOVReturnCode(0));
  EXPECT_EQ(reader.read(*server, ZOVAppServerAnchor()), ZOVReturnCode(0));
  EXPECT_EQ(reader.names(), std::set<std::string>{"shop"});
  EXPECT_EQ(reader.number(4), 4711);
}

TEST_F(StatisticsTest, AReadOfTheServerThatFailsKeepsTheLastLiveSample) {
  services.manager = manager;
  build();
  manager->samples = {[] {
    auto* made = new ZOVAppServerSample;
    made->saveNumericData(62, 1234);
    return made;
  }};
  const auto freeMemory = [&] {
    EXPECT_EQ(server->takeSampleFromRPX(ZOVAppServerAnchor()), ZOVReturnCode(0));
    EXPECT_EQ(reader.read(*server, ZOVAppServerAnchor()), ZOVReturnCode(0));
    return reader.number(62);
  };
  manager->result = 34;
  EXPECT_EQ(freeMemory(), -1) << "none yet, so a stand-in";
  manager->result = 0;
  EXPECT_EQ(freeMemory(), 1234);
  manager->result = 34;
  EXPECT_EQ(freeMemory(), 1234);
  server->markResourceAnchorsLogicallyDeleted(ZOVSample::DataSourceResource);
  EXPECT_EQ(freeMemory(), -1) << "of a past life";
}

TEST_F(StatisticsTest, QueriesThatComeAtOnceCostOneCollection) {
  services.manager = manager;
  services.serverParms.setResourceCollectAgeMax(60);
  manager->samples = {[] { return container("a", 1); }};
  std::atomic<int> asked{0};
  constexpr int Queries = 4;
  manager->collecting = [&] { EXPECT_TRUE(comesTrue([&] { return asked == Queries; })); };
  build();
  std::deque<AgentThread> queries;
  for (int i = 0; i < Queries; ++i) {
    queries.emplace_back([&] {
      ++asked;
      EXPECT_EQ(server->takeSample(ZOVContainerAnchor()), ZOVReturnCode(0));
    });
  }
  for (AgentThread& query : queries) query.join();
  EXPECT_EQ(manager->masks.size(), 1U);
  StepClock::step(61);
  EXPECT_EQ(server->takeSample(ZOVContainerAnchor()), ZOVReturnCode(0));
  EXPECT_EQ(manager->masks.size(), 2U);
}

TEST_F(StatisticsTest, AWantedResourceIsSavedAndTheRestIsNot) {
  services.manager = manager;
  manager->samples = {[] { return container("a", 1); }, [] { return container("b", 2); }};
  build();
  EXPECT_EQ(server->takeSampleFromRPX(ZOVContainerAnchor("a", 0)), ZOVReturnCode(0));
  EXPECT_EQ(reader.read(*server, ZOVContainerAnchor()), ZOVReturnCode(0));
  EXPECT_EQ(reader.names(), std::set<std::string>{"a"});
  server->takeSampleFromRPX(ZOVEJBAnchor("cont", "bean"));
  server->takeSampleFromRPX(ZOVApplicationAnchor("app"));
  server->takeSampleFromRPX(ZOVServletAnchor("app", "", "servlet"));
  server->takeSampleFromRPX(ZOVThreadPoolAnchor("pool"));
  EXPECT_EQ(manager->masks, (std::vector<unsigned long long>{2, 16, 128, 256, 0x100000000}));
  EXPECT_EQ(manager->parms, (std::vector<std::string>{"a|", "cont|bean", "app|", "app|servlet", "pool|"}));
  manager->result = 34;
  EXPECT_EQ(server->takeSampleFromRPX(ZOVContainerAnchor("a", 0)), ZOVReturnCode(34));
}

TEST_F(StatisticsTest, TheServersRowAddsUpItsResources) {
  services.manager = manager;
  manager->samples = {[] { return container("a", 3); }, [] { return container("b", 4); },
                      [] { return pool(5); }, [] { return new ZOVAppServerSample; }};
  manager->result = 61;  // some failed; what came counts
  build();
  server->setDCProbeManagerProcessId(static_cast<unsigned int>(::getpid()));
  EXPECT_EQ(server->takeSampleFromRPX(ZOVAppServerAnchor()), ZOVReturnCode(0));
  EXPECT_EQ(reader.read(*server, ZOVAppServerAnchor()), ZOVReturnCode(0));
  EXPECT_EQ(reader.number(207), 7);
  EXPECT_EQ(reader.number(240), 5);
  EXPECT_EQ(reader.number(78), -1);
  EXPECT_GE(reader.number(316), 0);
}

TEST_F(StatisticsTest, OnlyLiveDetailsAreAddedUp) {
  services.manager = manager;
  build();
  const auto add = [this](const char* name, long long created, int summary) {
    auto sample = std::unique_ptr<ZOVSample>(container(name, created));
    sample->saveNumericData(zov::key::summary, summary);
    server->saveSample(sample.release(), SaveSampleInterval, 1);
  };
  add("gone", 100, 0);
  server->removeObsoleteResourceAnchors(ZOVSample::DataSourceResource, 2);
  add("live", 3, 0);
  add("live", 50, 1);
  ZOVAppServerSample total;
  server->rollupTo(total);
  EXPECT_EQ(total.getTotalCount(zov::key::bean_instantiates), 3);
}

TEST_F(StatisticsTest, ACollectionThatFailedMarksNothing) {
  services.manager = manager;
  manager->samples = {[] { return container("a", 1); }, [] { return container("b", 1); }};
  build();
  const struct {
    unsigned int result;
    std::vector<std::function<ZOVSample*()>> samples;
    std::set<std::string> expected;
  } cases[] = {{0, manager->samples, {"a", "b"}},
               {143, {}, {"a", "b"}},
               {61, {[] { return container("c", 1); }}, {"a", "b", "c"}},
               {0, {[] { return container("c", 1); }}, {"c"}}};
  for (const auto& one : cases) {
    manager->result = one.result;
    manager->samples = one.samples;
    EXPECT_EQ(server->takeSampleFromRPX(ZOVContainerAnchor()), one.result);
    reader.read(*server, ZOVContainerAnchor());
    EXPECT_EQ(reader.names(), one.expected) << one.result;
  }
}

TEST_F(StatisticsTest, TheStatisticsThreadCollectsOnItsInterval) {
  services.manager = manager;
  services.serverParms.setResourceCollectAction(2);
  services.serverParms.setResourceCollectPollFrequency(1);
  manager->samples = {[] { return container("a", 1); }};
  build();
  server->connectedWithResourceManager();
  StepClock::step(1);
  server->settle();
  EXPECT_EQ(reader.read(*server, ZOVContainerAnchor()), ZOVReturnCode(0));
  EXPECT_TRUE(server->runningBackgroundCollection(ZOVSample::SampleTypeContainer));
  server->stopRPXMonitorThread();
  EXPECT_FALSE(server->runningBackgroundRPXCollection());
}

TEST_F(StatisticsTest, SuspendingAndResuming) {
  services.manager = manager;
  build();
  server->connectedWithResourceManager();
  EXPECT_TRUE(server->isResourceDataCollected());
  EXPECT_EQ(server->suspendCollectingResourceData(), ZOVReturnCode(0));
  EXPECT_FALSE(server->isResourceDataCollected());
  server->disconnectedFromResourceManager();
  EXPECT_EQ(server->resumeCollectingResourceData(), ZOVReturnCode(0));
  EXPECT_EQ(manager->clients, 1);
  EXPECT_FALSE(server->isResourceDataCollected());
}

TEST(ResourceManagerProxyTest, ParsesDescriptions) {
  const auto parsed = ZOVResourceManagerProxy::parseAppServerSample(
      "instanceName=server1\nprocessId=42\nstartTime=1700000000000\ntype=none\ntslNodeName=\nbogus="
      "1\nstdoutFileName=a="
      "b\n\n"
      "clusterName=late\n");
  EXPECT_EQ(parsed.serverName, "server1");
  EXPECT_EQ(parsed.processId, 42U);
  EXPECT_EQ(parsed.startTime, 1700000000000);
  EXPECT_EQ(parsed.type, 1);
  EXPECT_EQ(parsed.logFile, "a=b");
  EXPECT_EQ(parsed.cluster, "");
  EXPECT_EQ(ZOVResourceManagerProxy::parseAppServerSample(nullptr).serverName, "");
}

TEST(ResourceManagerProxyTest, DataCollectionMethods) {
  using Proxy = ZOVResourceManagerProxy;
  EXPECT_STREQ(Proxy::getDataCollectionMethodName(5), "getEJBMethodSample");
  EXPECT_EQ(Proxy::getDataCollectionMethodNumParms(5), 4);
  EXPECT_STREQ(Proxy::getDataCollectionMethodSignature(0),
               "(Ljava/lang/String;)Lcom/corvid/qlf/tsl5/ZOVPSISample;");
  EXPECT_STREQ(Proxy::getDataCollectionMethodSignature(21),
               "(Ljava/lang/String;Ljava/lang/String;)Lcom/halden/meranti/zov/resourcemanager/modeler/tsl5/"
               "getQueueManagerSample");
  EXPECT_EQ(Proxy::getDataCollectionMethodNumParms(21), 1);
  EXPECT_EQ(Proxy::getDataCollectionMethodName(22), nullptr);
  EXPECT_EQ(Proxy::getDataCollectionMethodSignature(-1), nullptr);
}

}  // namespace
