// Many threads at one server at once: every waiter is answered, and nothing is lost.

#include <deque>

#include "support/agent_thread.h"
#include "support/server_rig.h"

namespace {

constexpr int Threads = 8, Rounds = 20;

class FloodTest : public testing::Test {
 protected:
  explicit FloodTest(int ageMax = 0) : collectAgeMax(ageMax) {}  // each query polls
  void SetUp() override {
    rig.services.serverParms.setRequestCollectAction(1);
    rig.services.serverParms.setRequestCollectAgeMax(collectAgeMax);
    rig.start();
    collector = rig.serve("shop", {requestSample("/a", 1), requestSample("/b", 2)});
    server = rig.server("shop");
  }
  void TearDown() override {
    server.reset();
    collector.reset();
  }
  /// Runs body(thread) on each of the threads, and waits for all.
  template <class Body>
  static void flood(Body body) {
    std::deque<AgentThread> threads;
    for (int i = 0; i < Threads; ++i) threads.emplace_back([=] { body(i); });
    for (AgentThread& thread : threads) thread.join();
  }

  const int collectAgeMax;
  ServerRig rig;
  std::unique_ptr<FakeCollector> collector;
  std::shared_ptr<ZOVApplicationServer> server;
};

class AgedFloodTest : public FloodTest {
 protected:
  AgedFloodTest() : FloodTest(60) {}
};

TEST_F(FloodTest, EveryQueryIsAnsweredByAPollOfItsOwn) {
  std::atomic<int> wrong{0};
  flood([&](int i) {
    Reader reader;
    const ZOVWorkloadSumAnchor wanted;
    for (int round = 0; round < Rounds; ++round) {
      if (server->takeSample(wanted) != ZOV_OK) ++wrong;
      if (reader.read(*server, wanted) != ZOV_OK || reader.samples.size() != 2) ++wrong;
      // Beside them: what others do at any time.
      if (i % 4 == 1 && server->requestTestConnectivity() != ZOV_OK) ++wrong;
      if (i % 4 == 2) reader.read(*server, wanted, SaveSampleHistorical);
      if (i % 4 == 3) server->setClusterName(std::to_string(round));
      if (server->getSubnodeName() != "shop:host:ZOVS" || server->getClusterName().length() > 2) ++wrong;
    }
  });
  EXPECT_EQ(wrong, 0);
  EXPECT_TRUE(collector->waitForRequest(2, Threads * Rounds));  // and the first one, of the session's begin
  EXPECT_FALSE(rig.issued("ZOVA0015E"));
}

/// Holds the monitor thread until all of the queries are on their way.
class Gate : public CollectProfilerSampleRequest {
 public:
  explicit Gate(const std::atomic<int>& asked) : CollectProfilerSampleRequest(nullptr), _asked(asked) {}
  ZOVReturnCode process(ZOVApplicationServerBase*) override {
    return comesTrue([&] { return _asked == Threads; }) ? ZOV_OK : ZOV_EXCEPTION_CAUGHT;
  }

 private:
  const std::atomic<int>& _asked;
};

TEST_F(AgedFloodTest, QueriesThatComeAtOnceCostOnePoll) {
  std::atomic<int> asked{0};
  AgentThread gate(
      [&] { EXPECT_EQ(server->submitAsynchronousRequest(std::make_shared<Gate>(asked)), ZOVReturnCode(0)); });
  flood([&](int) {
    ++asked;
    EXPECT_EQ(server->takeSample(ZOVWorkloadSumAnchor()), ZOVReturnCode(0));
  });
  gate.join();
  server->shutdownSocket();
  EXPECT_TRUE(collector->waitForEnd());
  EXPECT_TRUE(collector->waitForRequest(2, 1)) << "behind the first one, of the session's begin";
  EXPECT_FALSE(collector->waitForRequest(2, 2));
}

TEST_F(FloodTest, AnEndAnswersEveryoneWhoWaits) {
  std::atomic<int> answered{0}, refused{0};
  AgentThread ender([&] {
    while (answered < Threads) server->requestTestConnectivity();
    server->stopThreads();
  });
  flood([&](int) {
    for (bool ended = false; !ended;) {
      ended = server->getOnDemandProfilerSamples(ZOVWorkloadSumAnchor()) == ZOV_PROFILING_NOT_ACTIVE;
      ++answered;
    }
    ++refused;
  });
  ender.join();
  EXPECT_EQ(refused, Threads);
  EXPECT_TRUE(server->threadsHaveEnded());
}

}  // namespace
