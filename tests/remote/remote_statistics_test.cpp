// The servers' own statistics from a JVM beside them: real servers, listener and manager, with a scripted
// collector and a scripted statistics JVM on real connections. Schedules and time-outs are stepped.

#include <gmock/gmock.h>

#include "remote/remote_resource_manager.h"
#include "support/acting_user.h"
#include "support/agent_thread.h"
#include "support/environment_variable.h"
#include "support/fake_statistics_jvm.h"
#include "support/server_rig.h"
#include "support/trace_capture.h"

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

constexpr int Interval = 10;
constexpr int AgentThreads = 2;  // the listener's and the manager's
constexpr const char* PoolText = "dbname=db\nnumCreates=10\nnumAllocates=3\n";

std::string description(const std::string& name) {
  return "instanceName=" + name + "\nprocessId=4712\nstartTime=1700000000000\nclusterName=group\n";
}

class RemoteStatistics : public testing::Test {
 protected:
  ~RemoteStatistics() override { rig.stop(); }

  void start(int action = 2) {
    rig.services.serverParms.setResourceCollectAction(action);
    rig.services.serverParms.setResourceCollectPollFrequency(Interval);
    rig.services.serverParms.setResourceCollectAgeMax(0);
    manager = ZOVResourceManagerProxy::getProxy();
    ASSERT_EQ(manager->startBackgroundThread(), 1);
    rig.services.manager = manager;
    rig.start();
  }
  /// The JVM that the collector was asked for, behind the first `skip` requests.
  std::unique_ptr<FakeStatisticsJVM> callBack(FakeCollector& collector, int skip = 0) {
    const auto asked = collector.waitForRequest(FakeStatisticsJVM::Initiate, skip);
    EXPECT_TRUE(asked);
    auto jvm = std::make_unique<FakeStatisticsJVM>(rig.port(), asked ? asked->number(1400).value_or(-1) : -1);
    EXPECT_TRUE(jvm->isAccepted());
    return jvm;
  }
  /// A JVM that describes the server and delivers a pool; returns when the server's statistics are collected.
  std::unique_ptr<FakeStatisticsJVM> connectJVM(FakeCollector& collector, const std::string& name = "shop",
                                                int skip = 0) {
    auto jvm = callBack(collector, skip);
    jvm->describe(description(name));
    jvm->setStatistics({{7, PoolText}});
    jvm->serve();
    EXPECT_TRUE(comesTrue([&] { return rig.server(name)->isResourceDataCollected(); }));
    EXPECT_TRUE(jvm->waitForRequest(FakeStatisticsJVM::GetNameSpaces));
    return jvm;
  }
  /// The names of the pools that are readable.
  std::set<std::string> pools(const std::string& name = "shop") {
    reader.read(*rig.server(name), ZOVDBConnectionAnchor());
    return reader.names();
  }
  void endSession(FakeCollector& collector) {
    collector.close();
    rig.server("shop")->testConnectivity();  // notices the end
  }
  int threads() { return rig.environment.threadTable().entries(); }
  long countIssued(const std::string& start) {
    return std::ranges::count_if(rig.environment.issued(),
                                 [&](const std::string& message) { return message.starts_with(start); });
  }
  /// Time passes, and the manager's timers have done what was due.
  void passTimers(int seconds) {
    StepClock::step(seconds);
    for (int turns = 0; turns < 2; ++turns) {
      manager->wake();
      settleManager();
    }
  }
  /// What the manager was asked so far, it has done.
  void settleManager() {
    RPXCollectionRequest mark(1, nullptr, nullptr);
    manager->startProcessing(mark);
    mark.get();
  }

  ServerRig rig;
  std::shared_ptr<ZOVResourceManagerProxy> manager;
  Reader reader;
};

TEST_F(RemoteStatistics, ComeFromTheJVMThatShowsTheToken) {
  start();
  const auto collector = rig.serve("shop");
  const auto asked = collector->waitForRequest(FakeStatisticsJVM::Initiate);
  ASSERT_TRUE(asked);
  EXPECT_EQ(asked->number(3), rig.port());
  EXPECT_EQ(asked->number(1370), std::nullopt);
  const long long token = asked->number(1400).value_or(0);
  EXPECT_GT(token, 3) << "no count";

  const auto expectRefused = [&](long long shown) {
    FakeStatisticsJVM stranger(rig.port(), shown);
    EXPECT_FALSE(stranger.isAccepted());
    EXPECT_TRUE(stranger.closedByAgent());
  };
  expectRefused(token + 1);
  const auto jvm = connectJVM(*collector);
  expectRefused(token);  // it has called back already

  const auto create = jvm->waitForRequest(FakeStatisticsJVM::CreateClient);
  EXPECT_EQ(create->number(4), 4711);
  EXPECT_EQ(create->number(1370), std::nullopt);
  const std::vector<std::pair<int, std::string>> texts = {
      {38, "/srv/shop"},
      {1373, "5.0.2"},
      {5, "shop"},
      {1374, "com.halden.meranti.zov.resourcemanager.exception.ZOVException"}};
  EXPECT_EQ(create->texts, texts);
  EXPECT_EQ(jvm->waitForRequest(FakeStatisticsJVM::TestClient)->number(1370), FakeStatisticsJVM::ClientId);
  EXPECT_EQ(jvm->waitForRequest(FakeStatisticsJVM::SetDelimiter)->text(1376), "\n");
  EXPECT_EQ(jvm->waitForRequest(FakeStatisticsJVM::GetNameSpaces)->text(5), "shop");
  EXPECT_TRUE(rig.issued("ZOVA0128I PSI Client for TSLHOME /srv/shop:7 is now initialized.  Token = " +
                         std::to_string(token)));

  const auto server = rig.server("shop");
  EXPECT_EQ(server->getDCResourceManagerProcessId(), 4712u);
  EXPECT_EQ(server->getAppServerStartTime(), 1'700'000'000'000);
  EXPECT_EQ(server->getClusterName(), "group");
  rig.step(Interval);
  EXPECT_EQ(jvm->waitForRequest(FakeStatisticsJVM::GetAllData)->text(5), "shop");
  EXPECT_EQ(pools(), std::set<std::string>{"db"});
  EXPECT_EQ(reader.number(240), 10);
}

TEST_F(RemoteStatistics, AJVMIsTakenFromWhoMayBringItsServer) {
  if (!ActingUser::isPossible()) GTEST_SKIP() << "only root can act as another user";
  constexpr uid_t Tom = 4242, Eve = 4243, Mallory = 4244;
  const EnvironmentVariable users("ZOV_COLLECTOR_USERS", "4242 4243");
  start();
  std::unique_ptr<FakeCollector> collector;
  {
    const ActingUser acting(Tom);
    collector = rig.serve("shop");
  }
  const auto asked = collector->waitForRequest(FakeStatisticsJVM::Initiate);
  ASSERT_TRUE(asked);
  const long long token = asked->number(1400).value_or(0);
  const struct {
    uid_t user;
    long long token;
    std::optional<long long> refusal;
  } strangers[] = {{Eve, token, 174}, {Mallory, token ^ 1, 174}, {Tom, token ^ 1, std::nullopt}};
  for (const auto& one : strangers) {
    const ActingUser acting(one.user);
    FakeStatisticsJVM stranger(rig.port(), one.token);
    const auto answer = stranger.receive().value_or(WireMessage(""));
    EXPECT_EQ(answer.number(14), 1) << one.user;
    EXPECT_EQ(answer.number(15), one.refusal) << one.user;
    EXPECT_TRUE(stranger.closedByAgent()) << one.user;
  }
  const ActingUser acting(Tom);
  connectJVM(*collector);
}

TEST_F(RemoteStatistics, ASetThatFailsChangesNothing) {
  start();
  const auto collector = rig.serve("shop");
  const auto jvm = connectJVM(*collector);
  jvm->setStatistics({{7, "dbname=a\n"}, {7, "dbname=b\n"}});
  rig.step(Interval);
  ASSERT_EQ(pools(), (std::set<std::string>{"a", "b"}));

  const auto half = [](FakeStatisticsJVM& self, const WireMessage& request) {
    self.send(self.sampleFor(request, 7, "dbname=c\n"));
  };
  const struct {
    const char* name;
    FakeStatisticsJVM::Answer answer;
    std::set<std::string> expected;
  } cases[] = {
      {"refused at once",
       [](FakeStatisticsJVM& self, const WireMessage& request) {
         self.send(wireResponse(request.correlator(), false, 145));
       },
       {"a", "b"}},
      {"refused with no reason that is a code",
       [](FakeStatisticsJVM& self, const WireMessage& request) {
         self.send(wireResponse(request.correlator(), false, 1LL << 32));
       },
       {"a", "b"}},
      {"refused in its midst",
       [half](FakeStatisticsJVM& self, const WireMessage& request) {
         half(self, request);
         self.send(wireResponse(request.correlator(), false, 999));
       },
       {"a", "b"}},
      {"recovered: what came counts, and nothing is missed",
       [half](FakeStatisticsJVM& self, const WireMessage& request) {
         half(self, request);
         self.send(wireResponse(request.correlator(), false, 61));
       },
       {"a", "b", "c"}},
      {"ended by the answer, since samples have come; what is for nobody is dropped",
       [](FakeStatisticsJVM& self, const WireMessage& request) {
         self.send(wireResponse(request.correlator(), true));  // announces only
         self.send(wireResponse(request.correlator() + 1000, false, 7));
         self.send(wireSample(81).number(13, request.correlator() + 1000).text(1371, "dbname=x\n"));
         self.send(wireSample(81).number(1372, 7).text(1371, "dbname=d\n"));  // for the only one that waits
         self.send(wireResponse(request.correlator(), true));
       },
       {"d"}},
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(one.name);
    jvm->script(FakeStatisticsJVM::GetAllData, one.answer);
    rig.step(Interval);
    EXPECT_EQ(pools(), one.expected);
    EXPECT_TRUE(rig.server("shop")->isResourceDataCollected());
  }
  EXPECT_TRUE(rig.issued("ZOVA0135E Bad return code ZOVR0999 received"));
}

TEST_F(RemoteStatistics, AJVMThatDiesInASetIsReplaced) {
  start();
  const auto collector = rig.serve("shop");
  auto jvm = connectJVM(*collector);
  rig.step(Interval);
  ASSERT_EQ(pools(), std::set<std::string>{"db"});
  jvm->script(FakeStatisticsJVM::GetAllData, [](FakeStatisticsJVM& self, const WireMessage& request) {
    self.sendTexts(request);
    self.dropConnection();
  });
  rig.step(Interval);
  EXPECT_TRUE(comesTrue([&] { return !rig.server("shop")->isResourceDataCollected(); }));
  EXPECT_EQ(pools(), std::set<std::string>{"db"}) << "nothing is marked";
  EXPECT_TRUE(rig.issued("ZOVA0136"));
  EXPECT_EQ(rig.server("shop")->takeSampleFromRPX(ZOVDBConnectionAnchor()), ZOV_NO_SUCH_SERVER);
  EXPECT_EQ(rig.server("shop")->takeSampleFromRPX(ZOVAppServerAnchor()), ZOV_OK) << "its row stays";

  passTimers(60);
  const auto next = connectJVM(*collector, "shop", 1);
  next->setStatistics({{7, "dbname=new\n"}});
  rig.step(Interval);
  EXPECT_EQ(pools(), std::set<std::string>{"new"});
  next->script(FakeStatisticsJVM::GetSamples,
               [](FakeStatisticsJVM& self, const WireMessage&) { self.dropConnection(); });
  EXPECT_EQ(rig.server("shop")->takeSampleFromRPX(ZOVDBConnectionAnchor()), ZOV_NO_REMOTE_JVM);
}

TEST_F(RemoteStatistics, TenFailuresEndTheTriesUntilTheNextSession) {
  zovWaits().remoteContactSeconds = 0;  // no JVM calls back in time
  start();
  auto collector = rig.serve("shop");
  EXPECT_TRUE(comesTrue([&] {
    passTimers(60);
    return collector->countRequests(FakeStatisticsJVM::Initiate) == 10;
  }));
  EXPECT_TRUE(comesTrue([&] { return threads() == AgentThreads + 1; })) << "the session's alone";
  for (int more = 0; more < 3; ++more) passTimers(60);
  EXPECT_EQ(collector->countRequests(FakeStatisticsJVM::Initiate), 10u);
  zovWaits().remoteContactSeconds = 300;
  endSession(*collector);
  connectJVM(*rig.serve("shop", {}, 4713));
}

TEST_F(RemoteStatistics, ARefusalEndsTheTriesOfItsSession) {
  start();
  auto collector = rig.ping("shop");
  EXPECT_EQ(collector->receive()->number(14), 2);
  collector->refuse(FakeStatisticsJVM::Initiate, 43, "no java");
  collector->serve();
  EXPECT_TRUE(comesTrue([&] { return collector->countRequests(FakeStatisticsJVM::Initiate) == 1; }));
  EXPECT_TRUE(comesTrue([&] { return threads() == AgentThreads + 1; })) << "the session's alone";
  for (int more = 0; more < 3; ++more) passTimers(60);
  EXPECT_EQ(collector->countRequests(FakeStatisticsJVM::Initiate), 1u);
  EXPECT_EQ(countIssued("ZOVA0137E Bad return code Unable to start the new process attempting to create "
                        "resource manager on shop.  Details=no java"),
            1);
  EXPECT_EQ(rig.server("shop")->testConnectivity(), ZOV_OK) << "nothing else is lost";
  endSession(*collector);
  connectJVM(*rig.serve("shop", {}, 4713));
}

TEST_F(RemoteStatistics, AServerThatIsGoneForTenMinutesHoldsNoThread) {
  start();
  auto collector = rig.serve("shop");
  auto jvm = connectJVM(*collector);
  EXPECT_TRUE(comesTrue([&] { return threads() == AgentThreads + 4; }));
  for (int minute = 0; minute < 11; ++minute) passTimers(60);
  EXPECT_TRUE(rig.server("shop")->isResourceDataCollected()) << "connected";
  rig.step(1);  // the server's threads have seen that it is
  endSession(*collector);
  jvm->close();
  for (int minute = 0; minute < 9; ++minute) passTimers(60);
  EXPECT_GE(threads(), AgentThreads + 2);
  passTimers(60);
  rig.step(60);
  EXPECT_TRUE(comesTrue([&] { return threads() == AgentThreads; }));
  collector = rig.serve("shop", {}, 4713);
  jvm = connectJVM(*collector);
  rig.step(Interval);
  EXPECT_EQ(pools(), std::set<std::string>{"db"});
}

TEST_F(RemoteStatistics, ARequestPastItsTimeEndsAndItsLateAnswerIsDropped) {
  start();
  const auto collector = rig.serve("shop");
  const auto jvm = connectJVM(*collector);
  std::optional<WireMessage> unanswered;
  std::mutex mutex;
  jvm->script(FakeStatisticsJVM::GetAllData, [&](FakeStatisticsJVM&, const WireMessage& request) {
    const std::scoped_lock lock(mutex);
    unanswered = request;
  });
  StepClock::step(Interval);
  rig.server("shop")->wakeupBackgroundRPXMonitor();
  EXPECT_TRUE(jvm->waitForRequest(FakeStatisticsJVM::GetAllData));
  // The late answer comes ahead of the next set, and belongs to none.
  jvm->script(FakeStatisticsJVM::GetAllData, [&](FakeStatisticsJVM& self, const WireMessage& request) {
    const std::scoped_lock lock(mutex);
    self.send(self.sampleFor(*unanswered, 7, "dbname=late\n"));
    self.sendEnd(*unanswered);
    self.sendTexts(request);
    self.sendEnd(request);
  });
  StepClock::step(30);
  EXPECT_TRUE(
      comesTrue([&] { return rig.issued("ZOVA0134E Request for PSI data timed out for PSI /srv/shop"); }));
  rig.server("shop")->settle();
  EXPECT_EQ(pools(), std::set<std::string>{"db"});
  EXPECT_TRUE(rig.server("shop")->isResourceDataCollected());
}

TEST_F(RemoteStatistics, AQueryThatGetsNoAnswerShowsWhatIsKept) {
  start(1);
  const auto collector = rig.serve("shop");
  const auto jvm = connectJVM(*collector);
  const auto server = rig.server("shop");
  EXPECT_EQ(server->takeSampleFromRPX(ZOVDBConnectionAnchor()), ZOV_OK);
  EXPECT_EQ(pools(), std::set<std::string>{"db"});
  jvm->script(FakeStatisticsJVM::GetSamples, [](FakeStatisticsJVM&, const WireMessage&) {});
  ZOVReturnCode rc = 1;
  AgentThread query([&] { rc = server->takeSampleFromRPX(ZOVDBConnectionAnchor()); });
  EXPECT_TRUE(jvm->waitForRequest(FakeStatisticsJVM::GetSamples, 1));
  StepClock::step(20);
  query.join();
  EXPECT_EQ(rc, ZOV_OK);
  EXPECT_EQ(pools(), std::set<std::string>{"db"});
}

TEST_F(RemoteStatistics, EachKindIsAskedForByItsGroupAndNames) {
  start(1);
  const auto collector = rig.serve("shop");
  const auto jvm = connectJVM(*collector);
  jvm->setStatistics({});
  const auto server = rig.server("shop");
  const struct {
    std::unique_ptr<ZOVResourceAnchor> anchor;
    std::optional<long long> group;
    std::optional<std::string> names;
  } cases[] = {
      {std::make_unique<ZOVContainerAnchor>("cont", 0), 1, std::nullopt},
      {std::make_unique<ZOVEJBAnchor>("cont", "bean"), 4, "cont\nbean"},
      {std::make_unique<ZOVApplicationAnchor>("app"), 7, "app\n"},
      {std::make_unique<ZOVServletAnchor>("app", "", "servlet"), 8, "app\nservlet"},
      {std::make_unique<ZOVDBConnectionAnchor>("db"), 6, std::nullopt},
      {std::make_unique<ZOVCacheTemplateAnchor>("page"), 10, "page"},
      {std::make_unique<ZOVThreadPoolAnchor>("http"), 15, "http"},
  };
  int asked = 0;
  for (const auto& one : cases) {
    EXPECT_EQ(server->takeSampleFromRPX(*one.anchor), ZOV_OK);
    const auto request = jvm->waitForRequest(FakeStatisticsJVM::GetSamples, asked++);
    ASSERT_TRUE(request);
    EXPECT_EQ(request->number(1377), one.group);
    EXPECT_EQ(request->text(1371), one.names);
    EXPECT_EQ(request->text(5), "shop");
    EXPECT_EQ(request->number(1370), FakeStatisticsJVM::ClientId);
  }
}

TEST_F(RemoteStatistics, BadTextsCostThemselvesAlone) {
  start();
  const auto collector = rig.serve("shop");
  const auto jvm = connectJVM(*collector);
  const TraceCapture trace;
  jvm->setStatistics({{7, "dbname=db\nno equals sign\nbogus=1\nnumCreates=none\nnumAllocates=12\n"},
                      {6, "dbname=no class\n"},
                      {31, "dbname=no resource\n"},
                      {0, "dbname=no type\n"},
                      {123456, "dbname=no such type\n"},
                      {7, ""},
                      {7, "dbname=last\n"}});
  rig.step(Interval);
  EXPECT_THAT(pools(), testing::IsSupersetOf({"db", "last"}));
  reader.read(*rig.server("shop"), ZOVDBConnectionAnchor("db"));
  EXPECT_EQ(reader.number(240), -1) << "no number is no value";
  EXPECT_EQ(reader.number(242), 12);
  for (const char* told : {"without a value is skipped: no equals sign", "Keyword table for bogus",
                           "numCreates is no number: none", "statistics of type 6,", "statistics of type 31,",
                           "statistics of type 0,", "statistics of type 123456,"}) {
    EXPECT_TRUE(trace.has(told)) << told;
  }
}

TEST_F(RemoteStatistics, SuspendAndResume) {
  start();
  const auto collector = rig.serve("shop");
  const auto server = rig.server("shop");
  EXPECT_EQ(server->suspendCollectingResourceData(), ZOV_OK) << "before the JVM has called back";
  const auto jvm = callBack(*collector);
  jvm->describe(description("shop"));
  jvm->setStatistics({{7, PoolText}});
  jvm->serve();
  EXPECT_TRUE(jvm->waitForRequest(FakeStatisticsJVM::GetInstances));
  EXPECT_TRUE(comesTrue([&] { return server->takeSampleFromRPX(ZOVDBConnectionAnchor()) == 178u; }));
  rig.step(Interval);
  EXPECT_EQ(jvm->countRequests(FakeStatisticsJVM::GetAllData), 0u);
  passTimers(60);
  EXPECT_EQ(server->resumeCollectingResourceData(), ZOV_OK);
  rig.step(Interval);
  EXPECT_EQ(pools(), std::set<std::string>{"db"});
  EXPECT_EQ(jvm->countRequests(FakeStatisticsJVM::PingInstances), 0u);
  EXPECT_EQ(server->suspendCollectingResourceData(), ZOV_OK);
  EXPECT_TRUE(pools().empty());
  EXPECT_EQ(server->takeSampleFromRPX(ZOVDBConnectionAnchor()), ZOV_RESOURCE_COLLECTION_SUSPENDED);
}

TEST_F(RemoteStatistics, AServerThatIsRemovedInASetHoldsNobodyUp) {
  start();
  const auto collector = rig.serve("shop");
  const auto jvm = connectJVM(*collector);
  jvm->script(FakeStatisticsJVM::GetAllData,
              [](FakeStatisticsJVM& self, const WireMessage& request) { self.sendTexts(request); });
  StepClock::step(Interval);
  rig.server("shop")->wakeupBackgroundRPXMonitor();
  EXPECT_TRUE(jvm->waitForRequest(FakeStatisticsJVM::GetAllData));
  collector->close();
  rig.server("shop")->testConnectivity();
  std::weak_ptr<ZOVApplicationServer> gone = rig.server("shop");
  EXPECT_EQ(rig.context->deleteAppServerContext(gone.lock()), ZOV_OK);
  EXPECT_TRUE(jvm->waitForEnd());
  EXPECT_TRUE(comesTrue([&] { return gone.expired(); })) << "nobody keeps it";
}

TEST_F(RemoteStatistics, ManyServersHaveTheirsAtOnceAndTheOthersAllElse) {
  constexpr int Servers = 130;
  start(1);
  std::map<std::string, std::unique_ptr<FakeCollector>> collectors;
  std::map<std::string, std::unique_ptr<FakeStatisticsJVM>> jvms;
  std::deque<std::string> without;
  for (int i = 0; i < Servers; ++i) {
    const std::string name = "server" + std::to_string(i);
    auto& collector = collectors[name] = rig.serve(name, {requestSample("/a", i + 1)});
    settleManager();
    if (countIssued("ZOVA0176W") == 0) {
      (jvms[name] = connectJVM(*collector, name))->setStatistics({{7, "dbname=of " + name + "\n"}});
    } else {
      without.push_back(name);
    }
  }
  for (auto& [name, collector] : collectors) {
    const auto server = rig.server(name);
    reader.read(*server, ZOVWorkloadSumAnchor());
    EXPECT_EQ(reader.samples.size(), 1u) << name;
    if (!jvms.contains(name)) continue;
    EXPECT_EQ(server->takeSampleFromRPX(ZOVDBConnectionAnchor()), ZOV_OK);
    EXPECT_EQ(pools(name), std::set<std::string>{"of " + name});
  }
  EXPECT_GT(jvms.size(), 110u);
  ASSERT_GT(without.size(), 8u);
  EXPECT_EQ(countIssued("ZOVA0176W Application server " + without.front()), 1);
  EXPECT_EQ(countIssued("ZOVA0176W"), 1);

  // When others go, theirs come.
  for (int i = 0; i < 6; ++i) {
    const std::string name = "server" + std::to_string(i);
    collectors[name]->close();
    rig.server(name)->testConnectivity();
    EXPECT_EQ(rig.context->deleteAppServerContext(rig.server(name)), ZOV_OK);
  }
  passTimers(60);
  connectJVM(*collectors[without.front()], without.front());

  const auto before = std::chrono::steady_clock::now();
  rig.stop();
  EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(5));
}

TEST_F(RemoteStatistics, SessionsComeBeforeStatistics) {
  constexpr int Servers = 300;
  start(1);
  std::vector<std::unique_ptr<FakeCollector>> collectors;
  for (int i = 0; i < Servers; ++i) collectors.push_back(rig.serve("server" + std::to_string(i)));
  for (const auto& server : rig.context->getAppServers()) EXPECT_EQ(server->getStatus(), ServerConnected);
  EXPECT_TRUE(rig.issued("ZOVA0176W"));
}

enum class Moment { Waiting, Connected, InASet, InAFrame };
class StatisticsStop : public RemoteStatistics, public testing::WithParamInterface<Moment> {};

TEST_P(StatisticsStop, TakesAtMostFiveSeconds) {
  start();
  const auto collector = rig.serve("shop");
  ASSERT_TRUE(collector->waitForRequest(FakeStatisticsJVM::Initiate));
  std::unique_ptr<FakeStatisticsJVM> jvm;
  if (GetParam() != Moment::Waiting) jvm = connectJVM(*collector);
  if (GetParam() > Moment::Connected) {
    jvm->script(FakeStatisticsJVM::GetAllData, [](FakeStatisticsJVM& self, const WireMessage& request) {
      self.sendTexts(request);
      if (GetParam() == Moment::InAFrame) self.sendBytes(std::string("\0\0\1\0half", 8));
    });
    StepClock::step(Interval);
    rig.server("shop")->wakeupBackgroundRPXMonitor();
    EXPECT_TRUE(jvm->waitForRequest(FakeStatisticsJVM::GetAllData));
  }
  const auto before = std::chrono::steady_clock::now();
  rig.stop();
  EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(5));
}

INSTANTIATE_TEST_SUITE_P(, StatisticsStop,
                         testing::Values(Moment::Waiting, Moment::Connected, Moment::InASet,
                                         Moment::InAFrame));

TEST_F(RemoteStatistics, AJVMThatFreezesInAFrameLosesItsConnection) {
  rig.services.agentParms.setSocketReceiveTimeout(1);
  start();
  const auto collector = rig.serve("shop");
  const auto jvm = connectJVM(*collector);
  jvm->script(FakeStatisticsJVM::GetAllData, [](FakeStatisticsJVM& self, const WireMessage&) {
    self.sendBytes(std::string("\0\0\1\0half", 8));
  });
  rig.step(Interval);
  EXPECT_TRUE(jvm->waitForEnd());
  EXPECT_TRUE(comesTrue([&] { return !rig.server("shop")->isResourceDataCollected(); }));
}

TEST_F(RemoteStatistics, AContactThatDoesNotComeInTimeIsRefused) {
  ZOVWaits& waits = zovWaits();  // nobody else asks for the JVM meanwhile
  waits.enumerateServersSeconds = waits.pingServersSeconds = waits.refreshNamesSeconds = 100'000;
  start();
  const auto collector = rig.serve("shop");
  const auto asked = collector->waitForRequest(FakeStatisticsJVM::Initiate);
  ASSERT_TRUE(asked);
  collector->refuse(FakeStatisticsJVM::Initiate, 43);
  StepClock::step(300);
  EXPECT_TRUE(comesTrue([&] {
    return rig.issued(
        "ZOVA0138W Timeout waiting for initialization of remote "
        "resource manager for app server shop");
  }));
  EXPECT_TRUE(comesTrue([&] { return rig.issued("ZOVA0137E"); }));  // the next try has failed, too
  FakeStatisticsJVM late(rig.port(), asked->number(1400).value_or(0));
  EXPECT_FALSE(late.isAccepted());
}

}  // namespace
