// What a collector and a person at the HTTP interface see of a session, with the real agent.

#include <gmock/gmock.h>
#include <sys/resource.h>

#include <deque>

#include "support/agent_process.h"
#include "support/fake_collector.h"

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;
using testing::SizeIs;
using testing::StartsWith;

namespace {

std::string framedHex(FakeCollector& collector) {
  return wireHex(collector.receiveBytes());
}
std::string hex(const std::string& spaced) {
  return wireHex(wireBytes(spaced));
}
std::string hexNumber(long long value) {
  char digits[17];
  std::snprintf(digits, sizeof digits, "%016llX", static_cast<unsigned long long>(value));
  return digits;
}

/// Sends a ping, and answers the value of its refusal; 0 when it was accepted, -1 without an answer.
long long refusalOf(AgentProcess& agent, const WireFrame& ping) {
  FakeCollector collector(agent.collectorPort());
  collector.send(ping);
  const auto response = collector.receive();
  if (!response) return -1;
  return response->number(14) == 1 ? response->number(15).value_or(0) : 0;
}

}  // namespace

TEST(Session, SpeaksTheWireFormatBitForBit) {
  AgentProcess agent;
  ASSERT_NO_FATAL_FAILURE(agent.start());
  FakeCollector collector(agent.collectorPort());
  collector.send(wirePing(7, "server1", "/srv/shop"));
  EXPECT_EQ(framedHex(collector),
            hex("00000038 00020001 00000005 00000001 0000000D 0000000000000007"
                "00000001 0000000E 0000000000000002 00000001 0000000F 00000000005BA1AC"));

  const std::string workload = framedHex(collector);
  ASSERT_GE(workload.size(), 24 + 32U);
  const long long correlator = std::strtoll(workload.substr(40, 16).c_str(), nullptr, 16);
  EXPECT_EQ(workload, hex("00000045 00020001 00000008 00000001 0000000D" + hexNumber(correlator) +
                          "00000001 00000293 0000000000000300 00000001 000002A7 0000000000000002"
                          "00000002 0000028A 00000001 41"));
  EXPECT_TRUE(collector.nothingReceived());
  collector.send(wireResponse(correlator, true));

  const std::string poll = framedHex(collector);  // at once, although the interval is a minute
  ASSERT_GE(poll.size(), 24 + 32U);
  EXPECT_EQ(poll, hex("00000028 00020001 00000002 00000001 0000000D" + poll.substr(40, 16) +
                      "00000001 00000001 00000000021C0000"));

  // A collector may ask in the middle of a poll whether the agent still lives; that answer has no level.
  collector.send(wireRequest(1, 99));
  EXPECT_EQ(framedHex(collector), hex("00000028 00020001 00000005 00000001 0000000D 0000000000000063"
                                      "00000001 0000000E 0000000000000002"));
  EXPECT_EQ(agent.stop(SIGTERM), 0);
}

TEST(Session, TurnsAwayWhatIsNoProperPing) {
  AgentProcess agent;
  ASSERT_NO_FATAL_FAILURE(agent.start());
  EXPECT_EQ(refusalOf(agent, wirePing(1, "s", "/s", 1, 6005158)), 104);
  EXPECT_EQ(refusalOf(agent, wirePing(2, "s", "/s", 1, 0)), 104);
  EXPECT_EQ(refusalOf(agent, wirePing(3, "s", "/s", 1, 6005159, 1)), 105);
  EXPECT_EQ(refusalOf(agent, wirePing(4, "", "/s")), 7);

  // None of these gets a byte, and none harms what comes behind it.
  FakeCollector poll(agent.collectorPort()), unknown(agent.collectorPort()), empty(agent.collectorPort()),
      lying(agent.collectorPort()), closing(agent.collectorPort());
  poll.send(wireRequest(2, 5).number(1, 0x21C0000));
  unknown.send(WireFrame(3, 1).number(13, 5));
  empty.sendBytes(wireBytes("00000000"));
  lying.send(wireRequest(1, 5).put(2, 4).put(5, 4).put(0x7FFFFFFF, 4).raw("short"));
  closing.sendBytes(wirePing(5, "s", "/s").framed().substr(0, 30));
  closing.close();

  FakeCollector good(agent.collectorPort());
  good.send(wirePing(6, "server1", "/srv/shop", 100, 6005159, 0));
  ASSERT_TRUE(good.receive());
  good.serve();
  ASSERT_TRUE(good.waitForRequest(2));
  EXPECT_TRUE(poll.nothingReceived());
  EXPECT_TRUE(unknown.nothingReceived());

  // The collector that is there answers a test ping, so a second one is not wanted.
  EXPECT_EQ(refusalOf(agent, wirePing(8, "server1", "/srv/shop", 101)), 174);
  EXPECT_EQ(refusalOf(agent, wirePing(9, "server1", "/srv/other", 102)), 0);
  EXPECT_THAT(agent.subnodes(), ElementsAre(StartsWith("server1:"), StartsWith("server1_A:")));
  EXPECT_EQ(agent.stop(SIGTERM), 0);
}

TEST(Session, MakesAServerThatIsThereAgainAfterARestart) {
  AgentProcess agent;
  ASSERT_NO_FATAL_FAILURE(agent.start());
  FakeCollector collector(agent.collectorPort());
  collector.send(
      wirePing(7, "server1", "/srv/shop", 4711).text(31, "/work").text(39, "tsl7").text(41, "de_DE"));
  collector.serve();
  ASSERT_TRUE(collector.waitForRequest(2));

  const std::vector<std::string> subnodes = agent.subnodes();
  ASSERT_THAT(subnodes, SizeIs(1));
  const auto isServer = [](const std::string& node, int status) {
    return AllOf(Contains(Pair("originnode", node)), Contains(Pair("server_nam", "server1")),
                 Contains(Pair("status", std::to_string(status))));
  };
  EXPECT_THAT(agent.rows("ZOVAPSRV"),
              ElementsAre(AllOf(isServer(subnodes[0], 1), Contains(Pair("pid", "4711")))));
  EXPECT_THAT(agent.rows("ZOVAPSST"),
              ElementsAre(AllOf(isServer(shortHostName(), 1), Contains(Pair("pid", "4711")))));
  EXPECT_EQ(agent.contextFile(),
            "\nappServerName=server1\tworkingDirectory=/work\tserverRootDirectory=/srv/shop\toccurrence=0\t"
            "platform=tsl7\tsubnodeName=" +
                subnodes[0] +
                "\taliasName=\tlocaleName=de_DE\tencoding=\townerUid=" + std::to_string(::geteuid()) + "\n");

  ASSERT_EQ(agent.stop(SIGQUIT), 0);
  EXPECT_TRUE(collector.waitForEnd());
  ASSERT_NO_FATAL_FAILURE(agent.start());
  ASSERT_TRUE(agent.waitForTrace("Application server server1 discovered"));
  EXPECT_EQ(agent.subnodes(), subnodes);
  EXPECT_THAT(agent.rows("ZOVAPSRV"), ElementsAre(isServer(subnodes[0], 0)));
  EXPECT_THAT(agent.rows("ZOVAPSST"), ElementsAre(isServer(shortHostName(), 0)));
  EXPECT_EQ(agent.stop(SIGTERM), 0);
}

TEST(Session, ShowsItsMessagesAndPushesThem) {
  AgentProcess agent;
  ASSERT_NO_FATAL_FAILURE(agent.start());
  EXPECT_THAT(agent.rows("ZOVPREV"),
              Contains(AllOf(Contains(Pair("msg_id", "ZOVA0001")), Contains(Pair("severity", "0")))));
  EXPECT_EQ(agent.get("/v1/tables").Size(), 29U);

  ZOVTestHttpClient events(agent.httpPort());
  ASSERT_EQ(events.openEvents("/v1/events?table=ZOVPREV").status, 200);
  FakeCollector collector(agent.collectorPort());
  collector.send(wirePing(7, "server1", "/srv/shop"));
  collector.serve();
  std::string event;
  do {
    event = events.receiveEvent();
  } while (!event.empty() && event.find("server1 discovered") == std::string::npos);
  EXPECT_THAT(event,
              AllOf(HasSubstr("event: ZOVPREV"), HasSubstr("\"originnode\":\"" + shortHostName() + "\"")));

  // Commands, through the interface that a person uses.
  ASSERT_TRUE(collector.waitForRequest(2));
  const std::string node = agent.subnodes().at(0);
  EXPECT_EQ(agent.act(node, "OV:StopRequestMonitor").body,
            R"({"message":"TYPE=ATR;ATTR=ZOVCOMND.RESULT;ENUM=1;~","status":0,"result":"done","reason":"OK"})"
            "\n");
  EXPECT_EQ(collector.waitForRequest(8, 1)->number(659), std::nullopt);  // a level of 0 is not sent
  const struct {
    std::string node, command;
    int status;
    const char* result;
    const char* reason;
  } refused[] = {
      {node, "Nonsense", 422, "bad_command", "Invalid TakeAction command"},
      {"none:h:ZOVS", "StopGCMonitor", 404, "unknown_node", "Unable to locate the application server"},
      {node, "SetRequestSamplingRate 5", 409, "conflict", "Request Data Collection Suspended"},
      {node, "RemSubNode", 409, "conflict", "Application server was not stopped"},
      {node, "StopAppSvr", 202, "queued", "TakeAction command queued for background processing"}};
  for (const auto& [to, command, status, result, reason] : refused) {
    const ZOVTestAnswer answer = agent.act(to, command);
    EXPECT_EQ(answer.status, status) << command;
    EXPECT_THAT(answer.body, AllOf(HasSubstr("\"result\":\"" + std::string(result) + "\""),
                                   HasSubstr("\"reason\":\"" + std::string(reason) + "\"")));
  }
  EXPECT_EQ(agent.stop(SIGTERM), 0);
}

TEST(Session, SilentPeersByTheHundredHoldUpNobody) {
  rlimit limit{};
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &limit), 0);
  const rlimit low{128, limit.rlim_max};
  AgentProcess agent;
  ::setrlimit(RLIMIT_NOFILE, &low);  // the agent's, at its start
  agent.start();
  ::setrlimit(RLIMIT_NOFILE, &limit);
  ASSERT_FALSE(HasFatalFailure());
  EXPECT_TRUE(agent.waitForTrace("The agent can hold " + std::to_string(limit.rlim_max) +
                                 " open files and connections."));
  std::deque<FakeCollector> silent;
  for (int i = 0; i < 300; ++i) silent.emplace_back(agent.collectorPort()).sendBytes(wireBytes("0000"));
  FakeCollector collector(agent.collectorPort());
  collector.send(wirePing(7, "server1", "/srv/shop"));
  const auto answer = collector.receive();
  ASSERT_TRUE(answer);
  EXPECT_EQ(answer->number(15), 6005164);
  EXPECT_TRUE(silent.front().closedByAgent());
  EXPECT_TRUE(silent.back().nothingReceived());
  EXPECT_EQ(agent.stop(SIGTERM), 0);
}

TEST(Session, ACollectorThatHangsHoldsUpNothingElse) {
  AgentProcess agent;
  agent.configureMore("[Basic_Config]\nZOV_REQ_SAMPLEMETHOD = ONDEMAND\n");
  ASSERT_NO_FATAL_FAILURE(agent.start());
  FakeCollector good(agent.collectorPort()), hung(agent.collectorPort());
  good.send(wirePing(1, "good", "/srv/good", 100));
  good.serve();
  ASSERT_TRUE(good.waitForRequest(2));
  hung.send(wirePing(2, "hung", "/srv/hung", 101));
  ASSERT_TRUE(hung.receive());
  ASSERT_TRUE(agent.waitForTrace("Application server hung discovered"));
  ZOVTestHttpClient client(agent.httpPort());
  for (const char* table : {"ZOVPREV", "ZOVAPSST"}) {  // the hung server is waited for in none
    const ZOVTestAnswer answer = client.get(std::string("/v1/tables/") + table + "/rows?timeout=300");
    EXPECT_THAT(answer.body, AllOf(HasSubstr("hung"), HasSubstr("\"nodes\":[]"))) << table;
  }
  const ZOVTestAnswer requests = client.get("/v1/tables/ZOVREQUEST/rows?timeout=1");
  EXPECT_EQ(requests.status, 200);
  EXPECT_THAT(requests.body, testing::ContainsRegex("\"name\":\"hung:[^}]*\"status\":\"timeout\""));
  EXPECT_THAT(requests.body, testing::ContainsRegex("\"name\":\"good:[^}]*\"status\":\"no_data\""));
  EXPECT_EQ(agent.stop(SIGTERM), 0);
}

TEST(Session, StaysInServiceWithAPortThatIsTaken) {
  const PortHolder taken;
  AgentProcess agent;
  agent.configure("[Advanced_Agent_Config]\nZOV_PORT = " + std::to_string(taken.port()) + "\n");
  ASSERT_NO_FATAL_FAILURE(agent.startWithoutListener());
  ASSERT_TRUE(agent.waitForTrace("ZOVA0084E"));
  EXPECT_THAT(agent.rows("ZOVPREV"), Contains(Contains(Pair("msg_id", "ZOVA0084"))));
  EXPECT_EQ(agent.stop(SIGTERM), 0);
}

TEST(Session, RunsWithDefaultsWhenTheConfigurationCannotBeRead) {
  AgentProcess agent;
  agent.configure("[Advanced_Agent_Config]\nZOV_PORT = 1\n[Basic_Config\nZOV_ALT_NODEID = lost\n");
  agent.setEnvironment("ZOV_START_DELAY", "0.5");
  ASSERT_NO_FATAL_FAILURE(agent.startWithoutListener());  // somebody else may have the default port
  EXPECT_THAT(agent.trace(), AllOf(HasSubstr("ov.cfg"), HasSubstr("line 3")));
  EXPECT_THAT(agent.trace(),
              HasSubstr("ZOV_START_DELAY is \"0.5\"; seconds from 0 to 60 are accepted. Used: 5."));
  EXPECT_EQ(zovTestGet(agent.httpPort(), "/v1/nodes").body.find("lost"), std::string::npos);
  EXPECT_EQ(agent.stop(SIGTERM), 0);
}

TEST(Session, TracesWhatComesFromOutsideOnItsOwnLineAndTheSignalThatEndsIt) {
  AgentProcess agent;
  agent.setEnvironment("ZOV_TRACE", "ERROR MESSAGE FLOW(ZOVCPSKM,ZOVCMAIN)");
  ASSERT_NO_FATAL_FAILURE(agent.start());
  FakeCollector collector(agent.collectorPort());
  collector.send(wirePing(7, "shop\n2026-01-01 00:00:00.000000 1 ZOVCMAIN 1 forged\x1B[2J", "/srv/shop"));
  ASSERT_TRUE(agent.waitForTrace("forged"));
  EXPECT_EQ(agent.stop(SIGQUIT), 0);
  std::istringstream lines(agent.trace());
  for (std::string line; std::getline(lines, line);) {
    EXPECT_FALSE(line.starts_with("2026-01-01 00:00:00.000000 ")) << line;
    EXPECT_THAT(line, testing::MatchesRegex("[0-9-]{10} [0-9:.]{15} [0-9]+ [^ ]+ [0-9]+ [ -~]*"));
  }
  EXPECT_THAT(agent.trace(), HasSubstr("Receive Signal = 3\n"));
}
