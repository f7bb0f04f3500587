// The agent as a service: what its manager is told, and a configuration that is read while it runs.

#include <gmock/gmock.h>

#include "support/agent_process.h"
#include "support/fake_collector.h"
#include "support/notify_socket.h"

namespace {
void configure(const AgentProcess& agent, const std::string& text) {
  std::ofstream(agent.prefix() + "ov.cfg")
      << "[Advanced_Agent_Config]\nZOV_PORT = " << agent.collectorPort() << "\n"
      << text;
}
}  // namespace

TEST(Service, ItsManagerIsToldOfItsLife) {
  const NotifySocket manager;
  AgentProcess agent;
  agent.setEnvironment("NOTIFY_SOCKET", manager.path());
  agent.setEnvironment("WATCHDOG_USEC", "400000");
  ASSERT_NO_FATAL_FAILURE(agent.start());
  EXPECT_EQ(manager.receive(), "READY=1");
  EXPECT_TRUE(manager.waitFor("STATUS=0 servers are known, 0 connected"));
  FakeCollector collector(agent.collectorPort());
  collector.send(wirePing(7, "server1", "/srv/shop"));
  collector.serve();
  EXPECT_TRUE(manager.waitFor("STATUS=1 servers are known, 1 connected"));
  EXPECT_TRUE(manager.waitFor("WATCHDOG=1"));
  agent.send(SIGHUP);
  EXPECT_TRUE(manager.waitFor("RELOADING=1"));
  EXPECT_EQ(manager.receive(), "READY=1");
  EXPECT_EQ(agent.stop(SIGTERM), 0);
  EXPECT_TRUE(manager.waitFor("STOPPING=1\nSTATUS=Stopping"));
}

TEST(Service, AHangupReadsTheConfigurationAgain) {
  AgentProcess agent;
  agent.configure(
      "[Advanced_Agent_Config]\nZOV_PORT = {port}\n[Basic_Config]\nZOV_REQ_SAMPLEMETHOD = ONDEMAND\n");
  ASSERT_NO_FATAL_FAILURE(agent.start());
  FakeCollector collector(agent.collectorPort());
  collector.send(wirePing(7, "server1", "/srv/shop"));
  collector.serve();
  ASSERT_TRUE(collector.waitForRequest(2));  // the session's first poll, and without an interval the last
  const auto reload = [&](const std::string& text) {
    configure(agent, text);
    agent.send(SIGHUP);
  };

  reload("[Basic_Config]\nZOV_REQ_SAMPLEMETHOD = FIXEDINTERVAL\nZOV_REQ_SAMPEL = 1\n");
  EXPECT_TRUE(agent.waitForTrace(
      "stay as they were.  Faults of the file: 1. The first: line 5: Configuration key ZOV_REQ_SAMPEL"));
  reload("[Broken\n");
  EXPECT_TRUE(agent.waitForTrace("line 3"));
  EXPECT_TRUE(agent.waitForTrace("ZOVA0192E", 2));
  EXPECT_EQ(agent.trace().find("ZOVA0190I"), std::string::npos);

  reload(
      "ZOV_ALT_NODEID = east\n"
      "[Advanced_J2EE_Config]\nZOV_REQ_FIXEDINTERVAL_TIME = 1\nZOV_REQ_SAMPLE_RATE = 7\n"
      "[AppServer:shop]\nZOV_APPSRVR_NAME = server1\nZOV_APPSRVR_ROOT = /srv/shop\n");
  ASSERT_TRUE(agent.waitForTrace("ZOVA0193I The configuration has been read again: 4 changes count, and 1"));
  for (const char* line :
       {"ZOV_ALT_NODEID of [Basic_Config] has changed from \"\" to \"east\".  That needs a new "
        "start",
        "ZOV_REQ_SAMPLEMETHOD of [Basic_Config] has changed from 1 to 2.  It counts from now on.",
        "ZOV_REQ_SAMPLE_RATE of [Advanced_J2EE_Config] has changed from 2 to 7.  It counts from the next "
        "session",
        "the section of [AppServer:shop] has changed from none to one"}) {
    EXPECT_NE(agent.trace().find(line), std::string::npos) << line << "\n" << agent.trace();
  }
  EXPECT_TRUE(collector.waitForRequest(2, 3)) << "it is polled each second now";

  agent.send(SIGHUP);
  EXPECT_TRUE(agent.waitForTrace("0 changes count, and 1 need a new start"))
      << "what needs one stays as it was";

  collector.close();
  FakeCollector again(agent.collectorPort());
  again.send(wirePing(8, "server1", "/srv/shop"));
  again.receive();
  EXPECT_EQ(again.receive()->number(679), 7) << "the new share goes with the new session";
  EXPECT_EQ(agent.stop(SIGTERM), 0);
}
