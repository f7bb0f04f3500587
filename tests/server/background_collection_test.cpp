// The collector monitor: when it polls, what it answers from memory, and how resources lapse and return.

#include "support/server_rig.h"

namespace {

class BackgroundTest : public testing::Test {
 protected:
  /// `action` 1: on demand, 2: by interval.
  void begin(int action, std::vector<WireFrame> samples) {
    rig.services.serverParms.setRequestCollectAction(action);
    rig.start();
    collector = rig.serve("shop", std::move(samples));
    server = rig.server("shop");
    server->settle();
    ASSERT_EQ(reader.read(*server, ZOVWorkloadSumAnchor()), ZOVReturnCode(0));
  }
  void TearDown() override {
    server.reset();
    collector.reset();
  }

  ServerRig rig;
  Reader reader;
  std::unique_ptr<FakeCollector> collector;
  std::shared_ptr<ZOVApplicationServer> server;
};

TEST_F(BackgroundTest, PollsOnItsIntervalAndMarksWhatIsGone) {
  begin(2, {requestSample("/a", 1), requestSample("/b", 2)});
  EXPECT_TRUE(server->runningBackgroundCollection(ZOVSample::SampleTypeWorkloadSummary));
  EXPECT_FALSE(server->runningBackgroundCollection(ZOVSample::SampleTypeBSMail));

  collector->setSamples({requestSample("/b", 4)});
  rig.step(60);
  EXPECT_EQ(reader.read(*server, ZOVWorkloadSumAnchor()), ZOVReturnCode(0));
  EXPECT_EQ(reader.names(), std::set<std::string>{"/b"});
  // One read of the history still has what is gone, and what the intervals added up to.
  EXPECT_EQ(reader.read(*server, ZOVWorkloadSumAnchor(), SaveSampleHistorical), ZOVReturnCode(0));
  EXPECT_EQ(reader.names(), (std::set<std::string>{"/a", "/b"}));
  EXPECT_EQ(reader.read(*server, ZOVWorkloadSumAnchor(), SaveSampleHistorical), ZOVReturnCode(0));
  EXPECT_EQ(reader.names(), std::set<std::string>{});
}

TEST_F(BackgroundTest, OnDemandAnswersAFloodFromOnePoll) {
  begin(1, {requestSample("/a", 1)});
  const ZOVWorkloadSumAnchor wanted;
  EXPECT_FALSE(server->runningBackgroundCollection(wanted.getSampleType()));
  EXPECT_EQ(server->takeSample(wanted), ZOVReturnCode(0));
  ASSERT_TRUE(collector->waitForRequest(2, 1));
  // Fresh enough for 30 seconds: a collector that has nothing more to say is not asked.
  collector->refuse(2, 65);
  StepClock::step(30);
  EXPECT_EQ(server->takeSample(wanted), ZOVReturnCode(0));
  collector->refuse(2, 0);
  StepClock::step(1);
  EXPECT_EQ(server->takeSample(wanted), ZOVReturnCode(0));
  EXPECT_TRUE(collector->waitForRequest(2, 2));
  EXPECT_EQ(server->takeSample(ZOVMessagesAnchor()), ZOVReturnCode(21));
}

TEST_F(BackgroundTest, AQuietCollectorIsPingedInEveryMode) {
  const struct {
    const char* mode;
    int action;
    int interval;
    bool collects;
  } modes[] = {{"on demand", 1, 60, true},
               {"by interval, with nothing collected", 2, 60, false},
               {"by a long interval", 2, 600, true}};
  for (int processId = 1; const auto& mode : modes) {
    SCOPED_TRACE(mode.mode);
    rig.services.serverParms.setRequestCollectAction(mode.action);
    rig.services.serverParms.setRequestCollectPollFrequency(mode.interval);
    if (!rig.context) rig.start();
    const std::string name = "shop" + std::to_string(processId);
    const auto quiet = rig.serve(name, {}, processId++);
    const auto its = rig.server(name);
    if (!mode.collects) {
      ASSERT_EQ(its->suspendCollectingRequestData(), ZOVReturnCode(0));
    }
    EXPECT_EQ(its->requestTestConnectivity(), ZOVReturnCode(0));  // the last that it does for now
    rig.step(59);
    quiet->close();
    EXPECT_EQ(its->getStatus(), ServerConnected);
    rig.step(1);
    EXPECT_EQ(its->getStatus(), ServerDisconnected);
  }
}

TEST_F(BackgroundTest, ACollectorThatIsPolledIsNotPinged) {
  begin(2, {requestSample("/a", 1)});
  for (int poll = 1; poll <= 3; ++poll) {
    rig.step(60);
    EXPECT_TRUE(collector->waitForRequest(2, poll));
  }
  EXPECT_EQ(server->requestTestConnectivity(), ZOVReturnCode(0));
  collector->close();
  EXPECT_FALSE(collector->waitForRequest(1, 1)) << "the one that was asked for";
}

TEST_F(BackgroundTest, WithoutACollectorNothingIsTakenAndTheServerKeepsItsRow) {
  begin(2, {requestSample("/a", 1)});
  collector->close();
  EXPECT_NE(server->requestTestConnectivity(), ZOVReturnCode(0));
  EXPECT_EQ(server->getStatus(), ServerDisconnected);
  EXPECT_EQ(server->getOnDemandProfilerSamples(ZOVWorkloadSumAnchor()), ZOVReturnCode(21));
  EXPECT_EQ(server->takeSample(ZOVWorkloadSumAnchor()), ZOVReturnCode(0));
  EXPECT_EQ(reader.read(*server, ZOVWorkloadSumAnchor()), ZOVReturnCode(41));
  EXPECT_EQ(reader.read(*server, ZOVAppServerAnchor()), ZOVReturnCode(0));
  EXPECT_EQ(reader.names(), std::set<std::string>{"shop"});
  EXPECT_EQ(reader.number(61), 0);
  EXPECT_EQ(server->processCollectRequest(1, 1), ZOVReturnCode(21));
}

TEST_F(BackgroundTest, AServerThatIsGoneForTenMinutesHoldsNoThread) {
  rig.services.serverParms.setResourceCollectAction(2);
  begin(2, {requestSample("/a", 1)});
  EXPECT_TRUE(server->runningBackgroundRPXCollection());
  rig.step(1000);
  EXPECT_TRUE(server->runningBackgroundProfilerCollection()) << "connected";
  collector->close();
  rig.step(60);
  EXPECT_EQ(server->getStatus(), ServerDisconnected);
  const int threads = rig.environment.threadTable().entries();
  rig.step(500);
  EXPECT_TRUE(server->runningBackgroundProfilerCollection());
  EXPECT_TRUE(server->runningBackgroundRPXCollection());
  rig.step(100);
  EXPECT_TRUE(comesTrue([&] {
    return !server->runningBackgroundProfilerCollection() && !server->runningBackgroundRPXCollection();
  }));
  EXPECT_TRUE(comesTrue([&] { return rig.environment.threadTable().entries() == threads - 2; }));
  EXPECT_EQ(server->getOnDemandProfilerSamples(ZOVWorkloadSumAnchor()), ZOVReturnCode(21));
  collector = rig.serve("shop", {requestSample("/b", 1)}, 4712);
  EXPECT_TRUE(server->runningBackgroundProfilerCollection());
  EXPECT_TRUE(server->runningBackgroundRPXCollection());
  EXPECT_EQ(reader.read(*server, ZOVWorkloadSumAnchor()), ZOVReturnCode(0));
}

TEST_F(BackgroundTest, AServerThatIsOnlyRememberedHoldsNoThread) {
  rig.services.serverParms.setRequestCollectAction(2);
  rig.services.serverParms.setResourceCollectAction(2);
  std::ofstream(rig.contextFile()) << "\nappServerName=shop\tserverRootDirectory=/srv/shop\n";
  rig.start();
  server = rig.server("shop");
  ASSERT_TRUE(server);
  EXPECT_FALSE(server->runningBackgroundProfilerCollection());
  EXPECT_FALSE(server->runningBackgroundRPXCollection());
}

}  // namespace
