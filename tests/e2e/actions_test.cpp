// Actions that run the scripts of servers, with the real agent.

#include <gmock/gmock.h>
#include <sys/stat.h>

#include "support/agent_process.h"
#include "support/comes_true.h"
#include "support/fake_collector.h"

namespace {

using namespace std::chrono_literals;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr auto EndLimit = 30s;  // what a sanitizer makes of it
#else
constexpr auto EndLimit = 5s;
#endif

std::string contentOf(const std::string& path) {
  std::ostringstream text;
  text << std::ifstream(path).rdbuf();
  return text.str();
}

class ActionsTest : public testing::Test {
 protected:
  void SetUp() override { std::filesystem::create_directories(root + "/bin"); }
  void writeScript(const std::string& name, const std::string& text) {
    std::ofstream(root + "/bin/" + name) << "#!/bin/sh\ncd " << root << "\n" << text;
    ::chmod((root + "/bin/" + name).c_str(), 0755);
  }
  /// A server whose collector came, and has gone again.
  std::string addServer(const std::string& name) {
    FakeCollector collector(agent.collectorPort());
    collector.send(wirePing(7, name, root));
    EXPECT_TRUE(collector.receive());
    const std::string node = name + ":" + host + ":ZOVS";
    EXPECT_TRUE(comesTrue([&] {
      const auto nodes = agent.subnodes();
      return std::find(nodes.begin(), nodes.end(), node) != nodes.end();
    }));
    return node;
  }
  /// The record of a queued action, once it has ended.
  TestRow recordOf(const ZOVTestAnswer& answer) {
    TestRow record;
    const std::string place = answer.headers.at("location");
    comesTrue([&] {
      const rapidjson::Document found = agent.get(place, agent.authorization());
      for (const auto& member : found.GetObject()) {
        record[member.name.GetString()] = member.value.IsString() ? member.value.GetString() : "";
      }
      return record["result"] != "waiting" && record["result"] != "running";
    });
    return record;
  }
  bool hasCome(const std::string& file) {
    return comesTrue([&] { return std::filesystem::exists(root + "/" + file); });
  }

  AgentProcess agent;
  std::string host = shortHostName();  // as nodes have it
  const std::string root = agent.directory() + "/shop";
};

class ActionsEndTest : public ActionsTest, public testing::WithParamInterface<int> {};

}  // namespace

TEST_P(ActionsEndTest, AScriptThatRunsHoldsNothingUpAndOutlivesTheAgent) {
  writeScript("stopServer.sh",
              "cat /proc/self/status > status; ls /proc/self/fd > descriptors; echo $$ > pid; touch begun\n"
              "while [ ! -e go ]; do sleep 0.1; done; echo one; echo two >&2; touch ended\n");
  writeScript("startServer.sh", "touch started\n");
  ASSERT_NO_FATAL_FAILURE(agent.start());
  const std::string node = addServer("shop");
  EXPECT_EQ(agent.act(node, "StopAppSvr 'me' 'secret'").status, 202);
  ASSERT_TRUE(hasCome("begun"));
  EXPECT_EQ(agent.act(node, "StartAppSvr").status, 202) << "waits its turn";
  EXPECT_EQ(agent.rows("ZOVAPSST").size(), 1u);
  EXPECT_THAT(contentOf(root + "/status"), testing::AllOf(testing::HasSubstr("SigIgn:\t0000000000000000"),
                                                          testing::HasSubstr("SigBlk:\t0000000000000000")));
  EXPECT_EQ(contentOf(root + "/descriptors"), "0\n1\n2\n3\n") << "the last is its reader's";

  const auto before = std::chrono::steady_clock::now();
  const int signal = GetParam();
  EXPECT_EQ(agent.stop(signal), signal == SIGKILL ? 256 + SIGKILL : 0);
  EXPECT_LT(std::chrono::steady_clock::now() - before, EndLimit);
  EXPECT_EQ(::kill(std::atoi(contentOf(root + "/pid").c_str()), 0), 0);
  std::ofstream(root + "/go").put('\n');
  EXPECT_TRUE(hasCome("ended")) << "although nobody reads what it writes";
  EXPECT_FALSE(std::filesystem::exists(root + "/started"));
}

INSTANTIATE_TEST_SUITE_P(, ActionsEndTest, testing::Values(SIGTERM, SIGQUIT, SIGKILL),
                         [](const auto& one) { return ::sigabbrev_np(one.param); });

TEST_F(ActionsTest, RunOneAfterTheOtherAndTellWhatBecameOfThem) {
  const std::string begins = "echo $(basename $0) $* begins >> log\n", ends = "sleep 0.2; echo ends >> log\n";
  writeScript("startServer.sh", begins + ends);
  writeScript("stopServer.sh", begins + ends + "echo no $5 >&2; [ $1 = shop ] || exit 3\n");
  agent.setEnvironment("ZOV_TRACE", "ALL");
  agent.configureMore("[Basic_Config]\nZOV_ALT_NODEID = east\n");
  host = "east";
  ASSERT_NO_FATAL_FAILURE(agent.start());
  const std::string node = addServer("shop"), other = addServer("other");
  const ZOVTestAnswer first = agent.act(node, "CycleAppSvr 'me' 'secret'");
  const ZOVTestAnswer second =
      agent.act("east:" + shortHostName() + ":ZOVA", "OV:stopAPPSVR other you secret");
  for (const ZOVTestAnswer& answer : {first, second}) {
    EXPECT_EQ(answer.status, 202);
    EXPECT_THAT(answer.body, testing::HasSubstr("TYPE=ATR;ATTR=ZOVCOMND.RESULT;ENUM=4;~"));
  }
  const TestRow done = recordOf(first), failed = recordOf(second);
  EXPECT_EQ(done.at("result") + ": " + done.at("reason"), "done: startServer.sh has ended");
  EXPECT_EQ(done.at("command"), "CycleAppSvr ***");
  EXPECT_EQ(failed.at("result") + ": " + failed.at("reason"),
            "failed: stopServer.sh has ended with status 3");
  EXPECT_EQ(failed.at("node"), other);
  EXPECT_EQ(failed.at("output"), "no ***\n");
  EXPECT_EQ(contentOf(root + "/log"),
            "stopServer.sh shop -user me -password secret begins\nends\nstartServer.sh shop begins\nends\n"
            "stopServer.sh other -user you -password secret begins\nends\n");
  EXPECT_TRUE(agent.waitForTrace("ZOVA0185I Action 2, stopAPPSVR *** for " + other));
  const std::string trace = agent.trace();
  EXPECT_THAT(trace, testing::HasSubstr("ZOVA0071I Take Action command startServer.sh completed successfully "
                                        "for application server shop."));
  EXPECT_THAT(trace,
              testing::HasSubstr("ZOVA0072E Take Action command stopServer.sh failed for application server "
                                 "other - Reason: Unable to start the new process."));
  EXPECT_EQ(trace.find("secret"), std::string::npos) << trace.substr(trace.find("secret") - 200, 300);
}

TEST_F(ActionsTest, AnAgentWithoutRightsRunsOnlyWhatNobodyElseCanChange) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root can start an agent of another user";
  ::chmod(agent.directory().c_str(), 0755);
  writeScript("stopServer.sh", "id -u; echo $*; exit 3\n");
  agent.setUser(65534);
  ASSERT_NO_FATAL_FAILURE(agent.start());
  const std::string node = addServer("shop");
  EXPECT_EQ(recordOf(agent.act(node, "StopAppSvr 'me' 'a b")).at("output"), "65534\nshop\n")
      << "a quote that is left open holds nothing";
  ::chmod((root + "/bin").c_str(), 0777);
  const TestRow refused = recordOf(agent.act(node, "StopAppSvr"));
  const std::string reason = root + "/bin/stopServer.sh is not run as user 65534: " + root + "/bin can be";
  EXPECT_THAT(refused.at("reason"), testing::StartsWith(reason));
  EXPECT_TRUE(agent.waitForTrace("server shop - Reason: Unable to start the new process: " + reason));
}

TEST_F(ActionsTest, AServerIsForgottenOnceItsCollectorHasGoneAlsoWhileItIsAsked) {
  ASSERT_NO_FATAL_FAILURE(agent.start());
  FakeCollector collector(agent.collectorPort());
  collector.send(wirePing(7, "shop", root));
  collector.serve();
  ASSERT_TRUE(collector.waitForRequest(2));
  const std::string node = "shop:" + shortHostName() + ":ZOVS";
  const std::string known = agent.contextFile();
  const ZOVTestAnswer refused = agent.act(node, "RemSubNode");
  EXPECT_EQ(refused.status, 409);
  EXPECT_THAT(refused.body,
              testing::AllOf(testing::HasSubstr("ENUM=0;~"), testing::HasSubstr("\"status\":53")));
  EXPECT_EQ(agent.subnodes(), std::vector<std::string>{node});
  EXPECT_EQ(agent.contextFile(), known);

  std::vector<std::jthread> readers;
  for (int i = 0; i < 4; ++i) {
    readers.emplace_back([&](const std::stop_token& stop) {
      while (!stop.stop_requested()) zovTestGet(agent.httpPort(), "/v1/tables/ZOVAPSRV/rows");
    });
  }
  collector.close();
  ASSERT_TRUE(comesTrue([&] { return agent.act(node, "RemSubNode").status == 200; }));
  EXPECT_EQ(agent.subnodes(), std::vector<std::string>{});
  EXPECT_EQ(agent.contextFile().find("shop"), std::string::npos);
  EXPECT_EQ(agent.act(node, "RemSubNode").status, 404);
  readers.clear();
  EXPECT_EQ(agent.stop(SIGTERM), 0);
}
