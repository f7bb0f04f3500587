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

class ActionsTest : public testing::TestWithParam<int> {
 protected:
  void SetUp() override {
    std::filesystem::create_directories(root + "/bin");
    ASSERT_NO_FATAL_FAILURE(agent.start());
  }
  void writeScript(const std::string& name, const std::string& text) {
    std::ofstream(root + "/bin/" + name) << "#!/bin/sh\ncd " << root << "\n" << text;
    ::chmod((root + "/bin/" + name).c_str(), 0755);
  }
  /// A server whose collector came, and has gone again.
  std::string addServer(const std::string& name) {
    FakeCollector collector(agent.collectorPort());
    collector.send(wirePing(7, name, root));
    EXPECT_TRUE(collector.receive());
    const std::string node = name + ":" + shortHostName() + ":ZOVS";
    EXPECT_TRUE(comesTrue([&] {
      const auto nodes = agent.subnodes();
      return std::find(nodes.begin(), nodes.end(), node) != nodes.end();
    }));
    return node;
  }
  bool hasCome(const std::string& file) {
    return comesTrue([&] { return std::filesystem::exists(root + "/" + file); });
  }

  AgentProcess agent;
  const std::string root = agent.directory() + "/shop";
};

}  // namespace

TEST_P(ActionsTest, AScriptThatRunsHoldsNothingUpAndOutlivesTheAgent) {
  writeScript("stopServer.sh",
              "cat /proc/self/status > status; ls /proc/self/fd > descriptors; echo $$ > pid; touch begun\n"
              "while [ ! -e go ]; do sleep 0.1; done; echo one; echo two >&2; touch ended\n");
  writeScript("startServer.sh", "touch started\n");
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

INSTANTIATE_TEST_SUITE_P(, ActionsTest, testing::Values(SIGTERM, SIGQUIT, SIGKILL),
                         [](const auto& one) { return ::sigabbrev_np(one.param); });
