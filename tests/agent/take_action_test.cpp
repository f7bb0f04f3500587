#include <gmock/gmock.h>
#include <unistd.h>

#include <cstring>
#include <regex>
#include <set>
#include <sstream>

#include "agent_fixture.h"
#include "runtime/recovery.h"
#include "server/application_server.h"
#include "support/fake_collector.h"

namespace {

struct Reply {
  long code;
  std::string text;
};

Reply sendCommand(const std::string& origin, const std::string& command) {
  CommandBox box(origin);
  TqboxAutomationCapsule capsule;
  capsule.owner = &box;
  std::strncpy(capsule.command, command.c_str(), sizeof capsule.command - 1);
  const long code = ZOVAgent::handleQTCommand(&capsule);
  EXPECT_EQ(capsule.rowOrStatus, code);
  EXPECT_EQ(box.completed, 1) << command;
  return {code, capsule.message()};
}

std::string replyOf(int value) {
  return "TYPE=ATR;ATTR=ZOVCOMND.RESULT;ENUM=" + std::to_string(value) + ";~";
}

std::string contextLine(const std::string& name, const std::string& owner = std::to_string(::geteuid())) {
  return "appServerName=" + name + "\tserverRootDirectory=/srv\toccurrence=0\tplatform=tsl7" +
         "\tsubnodeName=" + name + ":host:ZOVS\townerUid=" + owner + "\n";
}

/// What a pattern of one group finds in a file of the sources.
std::set<std::string> namesIn(const std::string& file, const char* pattern) {
  std::ostringstream text;
  text << std::ifstream(std::string(std::getenv("ZOV_SOURCE_DIR")) + "/" + file).rdbuf();
  const std::string all = text.str();
  const std::regex wanted(pattern);
  std::set<std::string> names;
  for (std::sregex_iterator found(all.begin(), all.end(), wanted), end; found != end; ++found)
    names.insert((*found)[1]);
  return names;
}

class TakeAction : public AgentFixture {};

}  // namespace

TEST_F(TakeAction, FindsTheServerChecksTheArgumentsAndReplies) {
  start(contextLine("shop") + contextLine("old") + contextLine("far", ""));
  const struct {
    const char* origin;
    const char* command;
    long code;
    int reply;
  } cases[] = {
      {"shop:host:ZOVS", "StopResourceMonitor", 0, 1},
      {"SHOP:HOST:ZOVS", "OV:stopRESOURCEmonitor   ", 0, 1},
      {"shop:host:ZOVS", "ov:StopResourceMonitor", 52, 2},
      {"shop:host:ZOVS", "StopResourceMonitor x", 52, 2},
      {"shop:host:ZOVS", "Nonsense", 52, 2},
      {"shop:host:ZOVS", "", 52, 2},
      {"shop:host:ZOVS", "StartRequestMonitor 2x", 52, 2},
      {"shop:host:ZOVS", "StartRequestMonitor -1", 52, 2},
      {"shop:host:ZOVS", "StartRequestMonitor 4294967297", 52, 2},
      {"shop:host:ZOVS", "StartRequestMonitor 99999999999999999999", 52, 2},
      {"shop:host:ZOVS", "'StopResourceMonitor'", 0, 1},
      {"shop:host:ZOVS", "StopResourceMonitor 'x", 0, 1},
      {"shop:host:ZOVS", "SetRequestSamplingRate 50", 179, 5},
      {"far:host:ZOVS", "StartAppSvr", 166, 0},
      {"far:host:ZOVS", "CycleAppSvr", 166, 0},
      {"none:host:ZOVS", "StopResourceMonitor", 7, 3},
      {"none:host:ZOVS", "Nonsense", 7, 3},
      {"", "StopResourceMonitor", 7, 3},
      // Through the agent's own node the command names the server.
      {"host:ZOVA", "StopResourceMonitor shop", 0, 1},
      {"host:ZOVA", "StopResourceMonitor 'shop' x", 52, 2},
      {"host:ZOVA", "StopResourceMonitor", 7, 3},
      {"host:elsewhere:ZOVA", "StopResourceMonitor shop", 0, 1},
      {"host:elsewhere:ZOVA", "StopResourceMonitor none", 7, 3},
      {"host:ZOVA", "RemSubNode old and more", 0, 1},
      {"host:ZOVA", "RemSubNode old", 7, 3},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.origin) + " " + c.command);
    const Reply reply = sendCommand(c.origin, c.command);
    EXPECT_EQ(reply.code, c.code);
    EXPECT_EQ(reply.text, replyOf(c.reply));
  }
}

TEST_F(TakeAction, RepliesAlsoWhenTheCommandIsCutOff) {
  struct RaisingBox : CommandBox {
    RaisingBox() : CommandBox("") { requestDetail = &other; }
    int NumColumns() override {
      zovRaise(ZOVException(ZOV_NO_SUCH_SERVER));
      return 0;
    }
    RequestDetail other{"OV", "OTHER"};
  };
  start(contextLine("shop"));
  RaisingBox box;
  TqboxAutomationCapsule capsule;
  capsule.owner = &box;
  EXPECT_EQ(ZOVAgent::handleQTCommand(&capsule), 7);
  EXPECT_EQ(capsule.message(), replyOf(0));
  EXPECT_EQ(box.completed, 1);
}

TEST_F(TakeAction, LogsWhatBecameOfACommand) {
  start(contextLine("shop"));
  sendCommand("shop:host:ZOVS", "StopResourceMonitor");
  EXPECT_EQ(messages().back(),
            "Take Action command StopResourceMonitor completed successfully for application server shop.");
  sendCommand("none:host:ZOVS", "'Nonsense x' y");
  EXPECT_EQ(
      messages().back(),
      "Take Action command Nonsense failed for application server unknown - Reason: Unable to locate the "
      "application server.");
}

TEST_F(TakeAction, SetsTheSamplingRateOfACollectorThatCollects) {
  start("");
  FakeCollector collector(port);
  ASSERT_TRUE(collector.connected());
  ASSERT_TRUE(collector.send(wirePing(7, "server1", "/srv/shop")));
  collector.serve();
  ASSERT_TRUE(collector.waitForRequest(2));  // the first poll follows the start of the collection
  const std::string node = agent->applicationContext()->getAppServers().at(0)->getSubnodeName().data();

  for (const char* command :
       {"SetRequestSamplingRate 0", "SetRequestSamplingRate 101", "SetRequestSamplingRate x"}) {
    EXPECT_EQ(sendCommand(node, command).code, 52) << command;
  }
  EXPECT_EQ(sendCommand(node, "SetRequestSamplingRate 100").code, 0);
  const auto request = collector.waitForRequest(8, 1);
  ASSERT_TRUE(request);
  EXPECT_EQ(request->number(679), 100);
  EXPECT_EQ(sendCommand(node, "StopRequestMonitor").code, 0);
  EXPECT_EQ(sendCommand(node, "SetRequestSamplingRate 100").code, 179);
}

TEST_F(TakeAction, EveryCommandIsDocumented) {
  auto commands = namesIn("src/agent/take_action.cpp", "\\{\"(\\w+)\", &ZOVAgent::handle");
  commands.insert("RemSubNode");
  EXPECT_EQ(namesIn("docs/http.md", "\\| `(\\w+)` \\| [^|]* \\| (?:has|ends|asks|queues|forgets)"), commands);
  EXPECT_EQ(commands.size(), 11u);
}
