// Two hundred connections that behave badly leave the agent as it was.

#include <deque>
#include <random>

#include "support/agent_process.h"
#include "support/comes_true.h"
#include "support/fake_collector.h"

namespace {

/// Kilobytes that the agent may grow by; a sanitizer keeps freed memory for a while.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr long Growth = 65536;
#else
constexpr long Growth = 1024;
#endif

/// A good collector that comes and goes; what was connected before it has been dealt with by then.
void visit(AgentProcess& agent, int number) {
  FakeCollector collector(agent.collectorPort());
  ASSERT_TRUE(collector.send(wirePing(number, "server1", "/srv/shop", number)));
  ASSERT_TRUE(collector.receive());
}

/// Fifty at a time, since the agent's queue of those that wait to be accepted holds a hundred.
void storm(AgentProcess& agent, std::mt19937& random) {
  std::deque<FakeCollector> peers;
  for (int i = 0; i < 200; ++i) {
    if (i % 50 == 0) peers.clear();
    FakeCollector& peer = peers.emplace_back(agent.collectorPort());
    std::string bytes;
    if (i % 4 == 0) {
      for (auto n = random() % 400; n > 0; --n) bytes.push_back(static_cast<char>(random()));
    } else if (i % 4 == 1) {
      bytes = wirePing(i, "server1", "/srv/shop").framed();
      bytes.resize(random() % bytes.size());
    } else if (i % 4 == 2) {
      bytes = WireFrame(static_cast<int>(random() % 4), static_cast<int>(random() % 100)).framed(0x7FFFFFFF);
    }
    peer.sendBytes(bytes);
  }
}

}  // namespace

TEST(Storm, LeavesDescriptorsAndMemoryWhereTheyWere) {
  AgentProcess agent;
  ASSERT_NO_FATAL_FAILURE(agent.start());
  std::mt19937 random(20);
  int number = 1;
  storm(agent, random);  // the first one takes what is taken once
  visit(agent, number++);
  visit(agent, number++);
  const std::size_t descriptors = agent.openDescriptors();
  const long memory = agent.residentMemory();
  for (int i = 0; i < 3; ++i) {
    storm(agent, random);
    visit(agent, number++);
    visit(agent, number++);
  }
  EXPECT_TRUE(comesTrue([&] { return agent.openDescriptors() <= descriptors; })) << agent.openDescriptors();
  EXPECT_LT(agent.residentMemory(), memory + Growth);
  EXPECT_EQ(agent.stop(SIGTERM), 0);
}
