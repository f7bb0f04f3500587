// The agent ends with status 0 within five seconds of SIGTERM or SIGQUIT, whatever it is in. The time limit
// is the agent's, not the test's: it is measured where the agent ends, and generous for a loaded machine.

#include "support/agent_process.h"
#include "support/fake_collector.h"

namespace {

enum class State { StartDelay, SilentPeer, HalfPoll, WaitingQuery, Idle };

class Stop : public testing::TestWithParam<std::tuple<State, int>> {};

}  // namespace

TEST_P(Stop, EndsWithStatusZero) {
  const auto [state, signal] = GetParam();
  AgentProcess agent;
  if (state == State::StartDelay) agent.setEnvironment("ZOV_START_DELAY", "60");
  ASSERT_NO_FATAL_FAILURE(agent.start());
  std::optional<FakeCollector> peer, second;
  std::optional<ZOVTestHttpClient> query;
  if (state != State::StartDelay) {
    peer.emplace(agent.collectorPort());
    ASSERT_TRUE(peer->send(wirePing(7, "server1", "/srv/shop")));
    ASSERT_TRUE(peer->receive());  // so the context has been read
  }
  if (state == State::Idle) {
    peer->serve();
    ASSERT_TRUE(peer->waitForRequest(2));
  } else if (state == State::SilentPeer) {
    second.emplace(agent.collectorPort());
    ASSERT_TRUE(second->connected());
  } else if (state == State::HalfPoll || state == State::WaitingQuery) {
    peer->send(wireResponse(peer->receive()->correlator(), true));
    ASSERT_EQ(peer->receive()->subtype, 2);
    ASSERT_TRUE(peer->send(wireSample(31).number(703, 1)));
    ASSERT_TRUE(peer->sendBytes("\0\0"));  // of the next frame's length
  }
  if (state == State::WaitingQuery) {
    query.emplace(agent.httpPort());
    ASSERT_TRUE(query->send(ZOVTestHttpClient::request("GET", "/v1/tables/ZOVGCACT/rows?PARMA=TOP")));
  }

  const auto before = std::chrono::steady_clock::now();
  EXPECT_EQ(agent.stop(signal), 0) << agent.trace();
  RecordProperty("milliseconds", static_cast<int>(std::chrono::duration_cast<std::chrono::milliseconds>(
                                                      std::chrono::steady_clock::now() - before)
                                                      .count()));
}

std::string nameOf(const testing::TestParamInfo<std::tuple<State, int>>& info) {
  static const char* const states[] = {"StartDelay", "SilentPeer", "HalfPoll", "WaitingQuery", "Idle"};
  return std::string(states[static_cast<int>(std::get<State>(info.param))]) +
         (std::get<int>(info.param) == SIGTERM ? "Term" : "Quit");
}

INSTANTIATE_TEST_SUITE_P(, Stop,
                         testing::Values(std::tuple(State::StartDelay, SIGTERM),
                                         std::tuple(State::SilentPeer, SIGQUIT),
                                         std::tuple(State::HalfPoll, SIGTERM),
                                         std::tuple(State::WaitingQuery, SIGQUIT),
                                         std::tuple(State::Idle, SIGTERM), std::tuple(State::Idle, SIGQUIT)),
                         nameOf);
