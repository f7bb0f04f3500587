// A collector's session from its ping to its end, over real connections.

#include <deque>

#include "support/agent_thread.h"
#include "support/server_rig.h"
#include "support/thread_creation.h"

namespace {

class SessionTest : public testing::Test {
 protected:
  void SetUp() override { rig.start(); }

  ServerRig rig;
  Reader reader;
};

TEST_F(SessionTest, GreetsSwitchesOnAndPollsAtOnce) {
  const auto collector = rig.ping("shop");
  EXPECT_EQ(wireHex(collector->receiveBytes()),
            "000000380002000100000005000000010000000D0000000000000007000000010000000E000000000000000200000001"
            "0000000F00000000005BA1AC");
  const auto workload = collector->receive();
  ASSERT_TRUE(workload && workload->subtype == 8);
  EXPECT_EQ(workload->number(659), 0x300);
  EXPECT_EQ(workload->number(679), 2);
  EXPECT_EQ(workload->text(650), "A");
  EXPECT_EQ(workload->body().size(), 0x45U);
  collector->send(wireResponse(workload->correlator(), true));

  const std::string poll = collector->receiveBytes();
  const WireMessage asked(poll.substr(4));
  EXPECT_EQ(wireHex(poll.substr(0, 12)), "000000280002000100000002");
  EXPECT_EQ(asked.number(1), 0x21C0000);
  // Types that have no class are dropped, and a ping in the middle is answered without a build level.
  collector->send(wireSample(17).number(4, 1));
  collector->send(wireSample(18));
  collector->send(wireRequest(1, 99));
  const auto pong = collector->receive();
  ASSERT_TRUE(pong && pong->subtype == 5);
  EXPECT_EQ(pong->correlator(), 99);
  EXPECT_EQ(pong->number(14), 2);
  EXPECT_EQ(pong->number(15), std::nullopt);
  collector->send(requestSample("/cart", 12));
  collector->send(wireSample(998));

  const auto server = rig.server("shop");
  collector->serve();
  server->settle();
  EXPECT_EQ(reader.read(*server, ZOVWorkloadSumAnchor()), ZOVReturnCode(0));
  EXPECT_EQ(reader.names(), std::set<std::string>{"/cart"});
  EXPECT_EQ(reader.number(703), 12);
  EXPECT_EQ(server->getSubnodeName(), "shop:host:ZOVS");
  EXPECT_EQ(
      rig.contextText(),
      "\nappServerName=shop\tworkingDirectory=\tserverRootDirectory=/srv/shop\toccurrence=0\tplatform=\t"
      "subnodeName=shop:host:ZOVS\taliasName=\tlocaleName=\tencoding=\townerUid=" +
          std::to_string(::geteuid()) + "\n");
  EXPECT_TRUE(rig.issued("ZOVA0007I Application server shop discovered.  Status = Connected."));
  EXPECT_TRUE(rig.issued("ZOVA0012I"));
  EXPECT_TRUE(rig.issued("ZOVA0065I Started collecting request data for shop Level=1 Capture Percent=2"));
}

TEST_F(SessionTest, TheSummaryAddsUpAllRequests) {
  const auto collector =
      rig.serve("shop", {requestSample("/a", 5, 40), requestSample("/b", 7, 20), requestSample("/c", 1)});
  const auto server = rig.server("shop");
  ASSERT_EQ(reader.read(*server, ZOVServerRequestSummaryAnchor()), ZOVReturnCode(0));
  ASSERT_EQ(reader.samples.size(), 1U);
  EXPECT_EQ(reader.number(703), 13);
  EXPECT_EQ(reader.number(704), 130);
  EXPECT_EQ(reader.samples[0].duration, 40U) << "of the first";
}

TEST_F(SessionTest, RefusesASecondCollectorWhileTheFirstAnswers) {
  auto first = rig.serve("shop");
  const auto server = rig.server("shop");
  const auto second = rig.ping("shop", 4712);
  const auto refusal = second->receive();
  ASSERT_TRUE(refusal);
  EXPECT_EQ(refusal->number(14), 1);
  EXPECT_EQ(refusal->number(15), 174);
  EXPECT_TRUE(first->waitForRequest(1));  // it was asked
  EXPECT_EQ(server->getProcessId(), 4711U);

  first->close();
  const auto third = rig.serve("shop", {}, 4713);
  EXPECT_EQ(server->getProcessId(), 4713U);
  EXPECT_EQ(server->getCurrentDCInstanceId(), 4713U);
  EXPECT_EQ(rig.context->getAppServers().size(), 1U);
  EXPECT_TRUE(rig.issued("ZOVA0015E"));
}

TEST_F(SessionTest, ServersAreToldApartByRoot) {
  const auto shop = rig.serve("shop");
  FakeCollector other(rig.port());
  other.send(wirePing(8, "shop", "/elsewhere", 4712));
  ASSERT_TRUE(other.receive());
  ASSERT_EQ(rig.context->getAppServers().size(), 2U);
  EXPECT_EQ(rig.context->getAppServers()[1]->getSubnodeName(), "shop_A:host:ZOVS");
}

TEST_F(SessionTest, HostileFramesInAPollCostTheConnectionOnly) {
  const std::vector<std::string> hostile = {
      WireFrame(3, 31).framed(),                                  // a data type that does not exist
      wireRequest(2, 1).framed(),                                 // a poll from the wrong side
      wireSample(6).framed(),                                     // a type without a class
      WireFrame(2, 31).put(1, 4).put(703, 4).framed(),            // a field cut short
      wireSample(31).textOfType(2, 702, "x").raw("ab").framed(),  // half a field
      std::string(4, '\0'),                                       // a frame of length 0
      wireSample(31).framed(0x7fffffff),                          // more is announced than comes
  };
  int processId = 5000;
  for (const std::string& bytes : hostile) {
    SCOPED_TRACE(wireHex(bytes));
    const auto collector = rig.ping("shop", ++processId);
    ASSERT_TRUE(collector->receive());
    const auto workload = collector->receive();
    ASSERT_TRUE(workload);
    collector->send(wireResponse(workload->correlator(), true));
    ASSERT_TRUE(collector->receive());  // the poll
    collector->sendBytes(bytes);
    if (bytes == hostile.back()) {
      collector->close();  // the agent waits for the rest
    } else {
      EXPECT_TRUE(collector->closedByAgent());
    }
    rig.server("shop")->settle();
    EXPECT_EQ(rig.server("shop")->getStatus(), ServerDisconnected);
  }
  const auto collector = rig.serve("shop", {requestSample("/a", 1)});
  EXPECT_EQ(reader.read(*rig.server("shop"), ZOVWorkloadSumAnchor()), ZOVReturnCode(0));
}

TEST_F(SessionTest, PollsTellNamesPropertiesAndMessages) {
  const auto collector =
      rig.serve("shop", {wireSample(59).number(4, 4711).text(1020, "/a/very/long/name").text(1021, "#12"),
                         requestSample("#12", 3), requestSample("##13", 4), requestSample("#99", 5),
                         wireSample(41).text(870, "file.encoding").text(871, "ISO-8859-1"),
                         wireSample(41).text(870, "appserver.platform").text(871, "tsl61"),
                         wireSample(55).text(870, "HOME").text(871, "/root"),
                         wireSample(62).text(1121, "W").text(1122, "DC0001W Collector is slow.")});
  const auto server = rig.server("shop");
  ASSERT_EQ(reader.read(*server, ZOVWorkloadSumAnchor()), ZOVReturnCode(0));
  EXPECT_EQ(reader.names(), (std::set<std::string>{"/a/very/long/name", "#13", "#99"}));
  RWCString value;
  EXPECT_TRUE(server->findJavaProperty("appserver.platform", value) && value == "tsl61");
  EXPECT_TRUE(server->findEnvVariable("HOME", ZOVEnvVariableSample::VariableAny, value) && value == "/root");
  EXPECT_FALSE(server->findEnvVariable("HOME", ZOVEnvVariableSample::VariableStatistics, value));
  EXPECT_NE(rig.contextText().find("encoding=ISO-8859-1"), std::string::npos);
  EXPECT_TRUE(rig.issued("DC0001W Collector is slow. Server: shop"));
}

TEST_F(SessionTest, ARefusalGivesTheCollectorsReasonAndKeepsTheSession) {
  const auto collector = rig.serve("shop");
  const auto server = rig.server("shop");
  collector->refuse(8, 65, "class load");
  EXPECT_EQ(server->processCollectRequest(2, 50), ZOVReturnCode(65));
  EXPECT_TRUE(
      rig.issued("ZOVA0073E Failed to start collecting request data for shop Level=2 Capture Percent=50 "
                 "with Reason: Profiler data collection stopped due to unexpected class load class load."));
  EXPECT_EQ(server->getRequestCollectLevel(), 1) << "what runs goes on";
  EXPECT_TRUE(server->isConnectedWithProfiler());
  collector->refuse(8, 0);
  EXPECT_EQ(server->processCollectRequest(-1, 50), ZOVReturnCode(0));
  EXPECT_EQ(server->getRequestCapturePercent(), 50);
  EXPECT_EQ(server->suspendCollectingRequestData(), ZOVReturnCode(0));
  EXPECT_EQ(server->getRequestCollectLevel(), 0);
  const auto off = collector->waitForRequest(8, 3);
  EXPECT_EQ(off->number(659), std::nullopt);
  EXPECT_EQ(off->text(650), std::nullopt);
  EXPECT_EQ(server->getOnDemandProfilerSamples(ZOVWorkloadSumAnchor()), ZOVReturnCode(21));
}

TEST_F(SessionTest, AStartWithoutALevelTakesOneThatCollects) {
  const struct {
    const char* name;
    int configured, last;
    long long asked;
  } cases[] = {{"a", 2, 0, 0x7F00}, {"b", 0, 0, 0x300}, {"c", 2, 1, 0x300}};
  for (int processId = 1; const auto& test : cases) {
    SCOPED_TRACE(test.name);
    rig.services.serverParms.setWorkloadCollectLevel(test.configured);
    const auto collector = rig.ping(test.name, processId++);
    ASSERT_TRUE(collector->receive());
    collector->serve();
    ASSERT_TRUE(collector->waitForRequest(8));
    const auto server = rig.server(test.name);
    ASSERT_EQ(server->processCollectRequest(test.last, -1), ZOVReturnCode(0));
    ASSERT_EQ(server->processCollectRequest(-1, -1), ZOVReturnCode(0));
    EXPECT_EQ(collector->waitForRequest(8, 2)->number(659), test.asked);
    const int level = server->getRequestCollectLevel();
    EXPECT_EQ(server->processCollectRequest(3, -1), ZOVReturnCode(52)) << "there is none";
    EXPECT_EQ(server->getRequestCollectLevel(), level);
  }
}

TEST_F(SessionTest, ThePercentageIsTheOneThatTheCollectorSaysHolds) {
  const struct {
    long long answered;
    int holds;
  } cases[] = {{100, 100}, {0, 2}, {50, 50}, {101, 2}, {-5, 2}};
  for (const auto& test : cases) {
    SCOPED_TRACE(test.answered);
    const auto collector = rig.ping("shop");
    ASSERT_TRUE(collector->receive());
    const auto workload = collector->receive();
    ASSERT_TRUE(workload);
    EXPECT_EQ(workload->number(679), 2) << "what is wanted stays";
    collector->send(wireResponse(workload->correlator(), true, test.answered));
    collector->serve();
    ASSERT_TRUE(collector->waitForRequest(2));
    EXPECT_EQ(rig.server("shop")->getRequestCapturePercent(), test.holds);
    EXPECT_TRUE(rig.issued("ZOVA0065I Started collecting request data for shop Level=1 Capture Percent=" +
                           std::to_string(test.holds)));
    collector->close();
    EXPECT_NE(rig.server("shop")->requestTestConnectivity(), ZOVReturnCode(0));
  }
}

TEST_F(SessionTest, ARefusedCollectionIsNotShownAsOne) {
  const auto collector = rig.ping("shop");
  ASSERT_TRUE(collector->receive());
  const auto workload = collector->receive();
  ASSERT_TRUE(workload);
  collector->send(wireResponse(workload->correlator(), false, 65));
  collector->serve();
  const auto server = rig.server("shop");
  server->settle();
  EXPECT_EQ(server->getRequestCollectLevel(), 0);
  EXPECT_EQ(server->processCollectRequest(-1, -1), ZOVReturnCode(0));
  EXPECT_EQ(server->getRequestCollectLevel(), 1) << "as it was wanted";
}

TEST_F(SessionTest, AMissingGarbageCollectionFileIsToldOnce) {
  const auto collector = rig.serve("shop");
  const auto server = rig.server("shop");
  const auto told = [&] {
    const auto all = rig.environment.issued();
    return std::count_if(all.begin(), all.end(),
                         [](const std::string& one) { return one.starts_with("ZOVA0120E"); });
  };
  for (int tries = 0; tries < 3; ++tries) EXPECT_EQ(server->resumeCollectingGCData(), ZOVReturnCode(116));
  EXPECT_EQ(told(), 1);
  EXPECT_TRUE(server->setVerboseGCLogFile("/srv/shop/gc.log"));
  EXPECT_TRUE(server->collectingGCData());
  EXPECT_TRUE(server->setVerboseGCLogFile(""));
  EXPECT_EQ(told(), 2) << "it has gone again";
}

TEST_F(SessionTest, GarbageCollectionNeedsAFileAndIsPolledWithItsOwnBits) {
  const auto collector = rig.serve("shop");
  const auto server = rig.server("shop");
  EXPECT_EQ(server->resumeCollectingGCData(), ZOVReturnCode(116));
  EXPECT_TRUE(rig.issued("ZOVA0120E"));
  EXPECT_TRUE(server->setVerboseGCLogFile("/srv/shop/gc.log"));  // starts it
  const auto request = collector->waitForRequest(15);
  ASSERT_TRUE(request);
  EXPECT_EQ(request->number(1050), 1);
  EXPECT_EQ(request->text(1051), "/srv/shop/gc.log");
  EXPECT_EQ(request->number(1052), 60);
  EXPECT_EQ(request->number(1053), 200);
  EXPECT_EQ(server->suspendCollectingRequestData(), ZOVReturnCode(0));
  collector->setSamples({wireSample(54).number(4, 4711).number(1061, 1).number(1076, 1)});
  EXPECT_EQ(
      server->getOnDemandProfilerSamples(ZOVResourceAnchor(ZOVApplicationServerBase::EverythingSampleType)),
      ZOVReturnCode(0));
  EXPECT_EQ(collector->waitForRequest(2, 1)->number(1), 0x20c2000);
  const auto cycles = [&] {
    reader.read(*server, ZOVGCDetailAnchor());
    return reader.samples.size();
  };
  for (const bool refused : {true, false}) {
    collector->refuse(15, refused ? 65 : 0);
    EXPECT_EQ(server->suspendCollectingGCData(), ZOVReturnCode(refused ? 65 : 0));
    EXPECT_EQ(collector->waitForRequest(15, refused ? 1 : 2)->number(1050), 2);
    EXPECT_EQ(server->collectingGCData(), refused);
    EXPECT_EQ(cycles(), refused ? 1U : 0U);
  }
  EXPECT_TRUE(rig.issued("ZOVA0123E"));
}

TEST_F(SessionTest, CollectionMovesToTheGarbageCollectionFileInForce) {
  const auto collector = rig.serve("shop");
  const auto server = rig.server("shop");
  server->setErrLogFile("/err.log");
  ASSERT_EQ(server->resumeCollectingGCData(), ZOVReturnCode(0));
  const struct {
    const char* set;
    bool changes;
    const char* inForce;
  } steps[] = {{"/err.log", false, "/err.log"},
               {"/a.log", true, "/a.log"},
               {"/a.log", false, "/a.log"},
               {"/b.log", true, "/b.log"},
               {"", true, "/err.log"}};
  int told = 0;
  for (const auto& step : steps) {
    EXPECT_EQ(server->setVerboseGCLogFile(step.set), step.changes) << step.set;
    if (step.changes) ++told;
    const auto request = collector->waitForRequest(15, told);
    ASSERT_TRUE(request);
    EXPECT_EQ(request->text(1051), step.inForce);
    EXPECT_EQ(request->number(1050), 1);
  }
  EXPECT_TRUE(server->collectingGCData());
  collector->close();
  collector->waitForEnd();
  EXPECT_FALSE(collector->waitForRequest(15, told + 1));
}

TEST_F(SessionTest, AReconnectLeavesNothingOfTheOldInstance) {
  auto collector = rig.serve("shop", {requestSample("/old", 1)});
  const auto server = rig.server("shop");
  ASSERT_EQ(reader.read(*server, ZOVWorkloadSumAnchor()), ZOVReturnCode(0));
  collector->close();
  collector = rig.serve("shop", {requestSample("/new", 1)});
  ASSERT_EQ(reader.read(*server, ZOVWorkloadSumAnchor()), ZOVReturnCode(0));
  EXPECT_EQ(reader.names(), std::set<std::string>{"/new"});
}

/// Uses a null pointer on the monitor thread.
class FaultyRequest : public CollectProfilerSampleRequest {
 public:
  FaultyRequest() : CollectProfilerSampleRequest(nullptr) {}
  __attribute__((no_sanitize("undefined"))) ZOVReturnCode process(ZOVApplicationServerBase*) override {
    volatile int* volatile nowhere = nullptr;
    *nowhere = 1;
    return 0;
  }
};

/// Holds the monitor thread up, as a collector does that does not answer.
class HungRequest : public CollectProfilerSampleRequest {
 public:
  HungRequest() : CollectProfilerSampleRequest(nullptr) {}
  ZOVReturnCode process(ZOVApplicationServerBase*) override {
    begun = true;
    begun.notify_all();
    released.wait(false);
    return 0;
  }
  std::atomic<bool> begun{false}, released{false};
};

TEST_F(SessionTest, AWaitThatIsGivenUpEndsAndItsRequestIsLeftOut) {
  const auto collector = rig.serve("shop", {requestSample("/old", 1)});
  const auto server = rig.server("shop");
  collector->setSamples({requestSample("/new", 1)});
  const auto hung = std::make_shared<HungRequest>();
  AgentThread waiter([&] { server->submitAsynchronousRequest(hung); });
  hung->begun.wait(false);
  EXPECT_EQ(server->takeSample(ZOVWorkloadSumAnchor(), [] { return true; }), ZOVReturnCode(30));
  for (int i = 0; i < 3; ++i) server->fetchMessages();  // waits for nothing
  hung->released = true;
  hung->released.notify_all();
  waiter.join();
  EXPECT_EQ(server->requestTestConnectivity(), ZOVReturnCode(0)) << "behind what was queued";
  ASSERT_EQ(reader.read(*server, ZOVWorkloadSumAnchor()), ZOVReturnCode(0));
  EXPECT_EQ(reader.names(), std::set<std::string>{"/old"}) << "no one was asked for what no one wants";
}

TEST_F(SessionTest, AFaultCostsItsRequestAndNotTheThread) {
  const auto collector = rig.serve("shop", {requestSample("/a", 1)});
  const auto server = rig.server("shop");
  EXPECT_EQ(server->submitAsynchronousRequest(std::make_shared<FaultyRequest>()), ZOVReturnCode(5));
  EXPECT_TRUE(rig.issued("ZOVA0002E"));
  EXPECT_EQ(server->requestTestConnectivity(), ZOVReturnCode(0));
}

// A stop must not wait for a peer, whatever it owes.
TEST_F(SessionTest, StopsWithASilentPeer) {
  const auto collector = rig.serve("shop");
  FakeCollector silent(rig.port());
  rig.stop();
  EXPECT_TRUE(silent.closedByAgent());
}

TEST_F(SessionTest, StopsWithAPollHalfAnsweredAndAQueryWaiting) {
  const auto collector = rig.ping("shop");
  ASSERT_TRUE(collector->receive());
  const auto workload = collector->receive();
  ASSERT_TRUE(workload);
  collector->send(wireResponse(workload->correlator(), true));
  ASSERT_TRUE(collector->receive());
  collector->sendBytes(requestSample("/a", 1).framed().substr(0, 20));
  const auto server = rig.server("shop");
  std::thread query([&] { EXPECT_NE(server->requestTestConnectivity(), ZOVReturnCode(0)); });
  rig.stop();
  query.join();
  EXPECT_EQ(server->getOnDemandProfilerSamples(ZOVWorkloadSumAnchor()), ZOVReturnCode(21));
}

TEST_F(SessionTest, APollThatStopsInAFrameEndsTheSessionOnly) {
  rig.services.agentParms.setSocketReceiveTimeout(3);
  const auto collector = rig.ping("shop");
  ASSERT_TRUE(collector->receive());
  collector->send(wireResponse(collector->receive()->correlator(), true));
  ASSERT_TRUE(collector->receive());  // the poll
  collector->sendBytes(requestSample("/a", 1).framed().substr(0, 20));
  EXPECT_TRUE(collector->closedByAgent());
  EXPECT_TRUE(rig.issued("ZOVA0015E Error The socket request has timed out"));
  rig.serve("shop");
}

TEST_F(SessionTest, ACollectorThatSaysNothingHoldsUpNoOther) {
  const auto hung = rig.ping("shop");
  ASSERT_TRUE(hung->receive());
  ASSERT_TRUE(hung->receive());  // what it should collect; it does not answer
  const auto next = rig.ping("shop", 4712);
  const auto third = rig.ping("shop", 4713);
  const auto refusal = third->receive();
  ASSERT_TRUE(refusal);
  EXPECT_EQ(refusal->number(15), 174) << "one may wait, no more";
  rig.serve("other");
  EXPECT_TRUE(next->nothingReceived());
  hung->close();
  const auto answer = next->receive();
  ASSERT_TRUE(answer);
  EXPECT_EQ(answer->number(15), 6005164);
}

TEST_F(SessionTest, AHungCollectorGivesWayToTheNextAndALiveOneDoesNot) {
  rig.services.agentParms.setSocketReceiveTimeout(300);
  zovWaits().hurriedProgressSeconds = 1;
  const auto hung = rig.ping("shop");
  ASSERT_TRUE(hung->receive());
  ASSERT_TRUE(hung->receive());  // what it should collect; it does not answer
  const auto live = rig.ping("shop", 4712);
  const auto answer = live->receive();
  ASSERT_TRUE(answer);
  EXPECT_EQ(answer->number(15), 6005164);
  live->send(wireResponse(live->receive()->correlator(), true));
  ASSERT_TRUE(live->receive());  // the poll
  const auto next = rig.ping("shop", 4713);
  for (const char byte : wireSample(998).framed()) {
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    live->sendBytes({&byte, 1});
  }
  const auto test = live->receive();
  ASSERT_TRUE(test && test->subtype == 1);
  const auto more = rig.ping("shop", 4714);
  std::this_thread::sleep_for(std::chrono::milliseconds(1500));
  live->send(wireResponse(test->correlator(), true));
  EXPECT_EQ(next->receive().value_or(WireMessage("")).number(15), 174);
}

TEST_F(SessionTest, ATestOfTheFormerSessionHoldsUpNoOther) {
  const auto former = rig.ping("shop");
  ASSERT_TRUE(former->receive());
  former->send(wireResponse(former->receive()->correlator(), true));
  ASSERT_TRUE(former->receive());  // the poll
  former->send(wireSample(998));
  const auto next = rig.ping("shop", 4712);
  const auto test = former->receive();
  ASSERT_TRUE(test && test->subtype == 1);
  rig.serve("other");
  EXPECT_TRUE(next->nothingReceived());
  former->send(wireResponse(test->correlator(), true));
  const auto refusal = next->receive();
  ASSERT_TRUE(refusal);
  EXPECT_EQ(refusal->number(15), 174);
  EXPECT_TRUE(rig.server("shop")->isConnectedWithProfiler());
}

TEST_F(SessionTest, AThreadThatCouldNotBeStartedIsTriedAtTheNextSession) {
  rig.serve("shop")->close();
  const auto server = rig.server("shop");
  server->stopProfilerMonitorThread(true);
  {
    const ThreadCreationFails fails;
    server->startProfilerMonitorThread();
  }
  EXPECT_TRUE(rig.issued(
      "ZOVA0174E The collector session monitor thread of application server shop could not be started."));
  EXPECT_EQ(server->requestTestConnectivity(), ZOVReturnCode(21));
  rig.serve("shop");
}

TEST_F(SessionTest, AnEmptyNameMakesNoServer) {
  FakeCollector collector(rig.port());
  collector.send(wirePing(7, "", "/srv"));
  const auto refusal = collector.receive();
  ASSERT_TRUE(refusal);
  EXPECT_EQ(refusal->number(14), 1);
  EXPECT_EQ(refusal->number(15), 7);
  EXPECT_TRUE(rig.context->getAppServers().empty());
}

TEST_F(SessionTest, TextsAreExpandedAsTheyArrive) {
  const auto abbreviation = [](const char* text, const char* shortForm) {
    return wireSample(59).text(1020, text).text(1021, shortForm);
  };
  const auto collector = rig.serve(
      "shop",
      {abbreviation("file.encoding", "#1"), abbreviation("ISO-8859-1", "#2"), abbreviation("PATH", "#3"),
       abbreviation("DC0001W Expanded.", "#4"), abbreviation("/before", "#5"),
       wireSample(41).text(870, "#1").text(871, "#2"), wireSample(55).text(870, "#3").text(871, "##2"),
       wireSample(62).text(1121, "W").text(1122, "#4"), requestSample("#5", 1), requestSample("#6", 1),
       abbreviation("/behind", "#5"), abbreviation("/late", "#6"), requestSample("#5", 1)});
  const auto server = rig.server("shop");
  RWCString value;
  EXPECT_TRUE(server->findJavaProperty("file.encoding", value));
  EXPECT_EQ(value, "ISO-8859-1");
  EXPECT_TRUE(server->findEnvVariable("PATH", ZOVEnvVariableSample::VariableAny, value));
  EXPECT_EQ(value, "#2");
  EXPECT_NE(rig.contextText().find("encoding=ISO-8859-1"), std::string::npos);
  EXPECT_TRUE(rig.issued("DC0001W Expanded. Server: shop"));
  ASSERT_EQ(reader.read(*server, ZOVWorkloadSumAnchor()), ZOVReturnCode(0));
  EXPECT_EQ(reader.names(), (std::set<std::string>{"/before", "/behind", "#6"}));
}

TEST_F(SessionTest, MessagesOfACollectorAreLimitedAndCut) {
  const auto message = [](const std::string& text) {
    return wireSample(62).text(1121, "W").text(1122, text);
  };
  std::vector<WireFrame> samples(50, message("DC0001W Again."));
  samples.push_back(message("DC0002W " + std::string(100'000, 'x')));
  const auto collector = rig.serve("shop", samples);
  std::vector<std::string> told;
  for (const std::string& text : rig.environment.issued()) {
    if (text.starts_with("DC")) told.push_back(text);
  }
  ASSERT_EQ(told.size(), 11U);
  EXPECT_EQ(told[9], "DC0001W Again. Server: shop");
  EXPECT_TRUE(told[10].ends_with("xxx... Server: shop"));
  EXPECT_LE(told[10].size(), 256U);
  StepClock::step(1);
  collector->setSamples({message("DC0001W Again.")});
  EXPECT_EQ(rig.server("shop")->getOnDemandProfilerSamples(ZOVWorkloadSumAnchor()), ZOVReturnCode(0));
  EXPECT_TRUE(rig.issued("DC0001W 40 further messages were left out: 10 a second are taken. Server: shop"));
}

// Stands in the thread table.
class Stranger : public ZOVRecoverableThread {
 public:
  explicit Stranger(unsigned long id) { _threadId = id; }
};

TEST_F(SessionTest, PingsBeyondTheThreadsAreRefusedAndToldOnceAMinute) {
  const auto known = rig.serve("shop");
  ZOVThreadTable& table = rig.environment.threadTable();
  std::deque<Stranger> strangers;
  while (table.hasRoom()) table.insert(&strangers.emplace_back(strangers.size() + 1));
  const auto told = [&] {
    int count = 0;
    for (const std::string& message : rig.environment.issued()) count += message.starts_with("ZOVA0177E");
    return count;
  };
  for (const char* name : {"first", "second", "third"}) {
    const auto refusal = rig.ping(name)->receive();
    ASSERT_TRUE(refusal);
    EXPECT_EQ(refusal->number(14), 1);
    EXPECT_EQ(refusal->number(15), 156);
  }
  EXPECT_EQ(rig.context->getAppServers().size(), 1U) << "none of them is remembered";
  EXPECT_EQ(told(), 1);
  StepClock::step(60);
  ASSERT_TRUE(rig.ping("fourth")->receive());
  EXPECT_EQ(told(), 2);
  EXPECT_EQ(rig.server("shop")->getOnDemandProfilerSamples(ZOVWorkloadSumAnchor()), ZOVReturnCode(0));
  for (Stranger& stranger : strangers) table.remove(&stranger);
  rig.serve("first");
}

}  // namespace
