// The agent ends with status 0 within five seconds of SIGTERM, SIGQUIT or SIGINT, whatever it is in.

#include "support/agent_process.h"
#include "support/fake_collector.h"

namespace {

using namespace std::chrono_literals;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr auto Limit = 30s;  // what a sanitizer makes of it
constexpr int ManySamples = 100'000;
#else
constexpr auto Limit = 5s;
constexpr int ManySamples = 2'000'000;
#endif

enum class State {
  StartDelay,
  SilentPeer,
  HalfPoll,
  EndlessPoll,  // the first one of a session, which goes on for as long as the agent reads
  SavingSamples,
  LoggingTexts,  // of megabytes
  WaitingQuery,
  Idle
};

class Stop : public testing::TestWithParam<std::tuple<State, int>> {};

/// Answers what comes before the session's first poll, and takes that poll.
void takeFirstPoll(FakeCollector& peer) {
  peer.send(wireResponse(peer.receive()->correlator(), true));
  ASSERT_EQ(peer.receive()->subtype, 2);
}

std::string manySamples() {
  std::string frames;
  for (int i = 0; i < ManySamples; ++i) frames += wireSample(31).text(702, std::to_string(i)).framed();
  return frames + wireSample(998).framed();
}

}  // namespace

TEST_P(Stop, EndsWithStatusZero) {
  const auto [state, signal] = GetParam();
  std::optional<FakeCollector> peer, second;
  std::jthread sender;
  AgentProcess agent;  // goes first, and with it the sender's work
  if (state == State::StartDelay) agent.setEnvironment("ZOV_START_DELAY", "60");
  ASSERT_NO_FATAL_FAILURE(agent.start());
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
  } else if (state == State::EndlessPoll) {
    ASSERT_NO_FATAL_FAILURE(takeFirstPoll(*peer));
    sender = std::jthread([&peer, frame = wireSample(34).text(782, "x").framed()] {
      while (peer->sendBytes(frame)) continue;
    });
  } else if (state == State::LoggingTexts) {
    // A refusal's reason is logged.
    peer->send(wireResponse(peer->receive()->correlator(), false, 65, std::string(30'000'000, 'x')));
    ASSERT_TRUE(agent.waitForTrace(std::string(500, 'x')));
  } else if (state == State::SavingSamples) {
    ASSERT_NO_FATAL_FAILURE(takeFirstPoll(*peer));
    ASSERT_TRUE(peer->sendBytes(manySamples()));
    ASSERT_TRUE(peer->waitUntilTaken());
  } else if (state == State::HalfPoll || state == State::WaitingQuery) {
    ASSERT_NO_FATAL_FAILURE(takeFirstPoll(*peer));
    ASSERT_TRUE(peer->send(wireSample(31).number(703, 1)));
    ASSERT_TRUE(peer->sendBytes("\0\0"));  // of the next frame's length
  }
  if (state == State::WaitingQuery) {
    query.emplace(agent.httpPort());
    ASSERT_TRUE(query->send(ZOVTestHttpClient::request("GET", "/v1/tables/ZOVGCACT/rows?PARMA=TOP")));
  }

  const auto before = std::chrono::steady_clock::now();
  EXPECT_EQ(agent.stop(signal), 0) << agent.trace().substr(0, 10'000);
  const auto taken = std::chrono::steady_clock::now() - before;
  EXPECT_LT(taken, Limit);
  RecordProperty("milliseconds", static_cast<int>(taken / 1ms));
}

std::string nameOf(const testing::TestParamInfo<std::tuple<State, int>>& info) {
  static const char* const states[] = {"StartDelay",    "SilentPeer",   "HalfPoll",     "EndlessPoll",
                                       "SavingSamples", "LoggingTexts", "WaitingQuery", "Idle"};
  return std::string(states[static_cast<int>(std::get<State>(info.param))]) +
         ::sigabbrev_np(std::get<int>(info.param));
}

TEST(StopSignals, AnInterruptThatIsIgnoredStaysSo) {
  for (const int ignored : {0, SIGINT}) {
    AgentProcess agent;
    agent.setIgnored(ignored);
    ASSERT_NO_FATAL_FAILURE(agent.startWithoutListener());
    EXPECT_EQ(agent.ignores(SIGINT), ignored == SIGINT);
    EXPECT_EQ(agent.stop(SIGTERM), 0);
  }
}

INSTANTIATE_TEST_SUITE_P(
    , Stop,
    testing::Values(std::tuple(State::StartDelay, SIGTERM), std::tuple(State::SilentPeer, SIGQUIT),
                    std::tuple(State::HalfPoll, SIGTERM), std::tuple(State::EndlessPoll, SIGTERM),
                    std::tuple(State::SavingSamples, SIGTERM), std::tuple(State::LoggingTexts, SIGTERM),
                    std::tuple(State::WaitingQuery, SIGQUIT), std::tuple(State::Idle, SIGTERM),
                    std::tuple(State::Idle, SIGQUIT), std::tuple(State::Idle, SIGINT),
                    std::tuple(State::StartDelay, SIGINT)),
    nameOf);
