// The anchors of a server: where samples go, what is marked and what is removed.

#include "support/server_rig.h"

namespace {

class ResourceAnchorsTest : public testing::Test {
 protected:
  void SetUp() override {
    ZOVReturnCode rc;
    server = buildServer({.name = "shop", .rootDirectory = "/srv", .status = ServerConnected}, rc);
    ASSERT_TRUE(server);
  }
  template <class Sample>
  std::unique_ptr<Sample> sample(const char* name, int nameKey, long long summary = 0) {
    auto made = std::make_unique<Sample>();
    made->saveStringData(nameKey, name);
    made->saveNumericData(17, summary);
    return made;
  }
  static std::unique_ptr<ZOVSample> request(const char* name, int duration) {
    auto made = std::make_unique<ZOVWorkloadSumSample>();
    made->saveStringData(702, name);
    made->saveNumericData(21, duration);
    made->saveNumericData(703, 1);
    return made;
  }
  void save(std::unique_ptr<ZOVSample> made, unsigned int collection) {
    server->saveSample(made.release(), SaveSampleInterval, collection);
  }
  std::set<std::string> containers() {
    reader.read(*server, ZOVContainerAnchor());
    return reader.names();
  }

  StepClock clock;
  DiagnosticEnvironment environment;
  RecordingServerServices services;
  std::shared_ptr<ZOVApplicationServer> server;
  Reader reader;
  int lastCycle = 0;
};

TEST_F(ResourceAnchorsTest, NothingIsMissedBeforeTheFirstData) {
  const ZOVContainerAnchor all, one("c", 0);
  const auto expectOf = [&](unsigned int whole, unsigned int named) {
    EXPECT_EQ(reader.read(*server, all), ZOVReturnCode(whole));
    EXPECT_EQ(reader.read(*server, one), ZOVReturnCode(named));
  };
  expectOf(0, 0);
  save(sample<ZOVContainerSample>("a", 6), 1);
  expectOf(0, 9);
  server->markResourceAnchorsLogicallyDeleted(ZOVSample::DataSourceResource);
  expectOf(0, 0);
  EXPECT_TRUE(reader.samples.empty());
}

TEST_F(ResourceAnchorsTest, SamplesOfOneResourceShareAnAnchor) {
  save(sample<ZOVContainerSample>("a", 6), 1);
  save(sample<ZOVContainerSample>("b", 6), 1);
  StepClock::step(10);
  save(sample<ZOVContainerSample>("a", 6), 2);
  save(std::make_unique<ZOVStringAbbreviationSample>(), 2);  // has no anchor
  EXPECT_EQ(containers(), (std::set<std::string>{"a", "b"}));
  EXPECT_EQ(reader.samples.size(), 2U);
  // A filter that names one resource finds it, and it alone.
  EXPECT_EQ(reader.read(*server, ZOVContainerAnchor("b", 0)), ZOVReturnCode(0));
  EXPECT_EQ(reader.names(), std::set<std::string>{"b"});
  EXPECT_EQ(reader.read(*server, ZOVContainerAnchor("c", 0)), ZOVReturnCode(9));
  EXPECT_EQ(reader.read(*server, ZOVResourceAnchor(static_cast<ZOVSample::_SampleType>(997))),
            ZOVReturnCode(9));
}

TEST_F(ResourceAnchorsTest, WhatACollectionDoesNotBringIsMarkedUntilItReturns) {
  save(sample<ZOVContainerSample>("a", 6), 1);
  save(sample<ZOVContainerSample>("b", 6), 1);
  save(sample<ZOVTransactionSample>("a", 6), 1);
  save(sample<ZOVContainerSample>("b", 6), 2);
  const ZOVContainerAnchor onlyB("b", 0);
  server->removeObsoleteResourceAnchors(&onlyB, 2);
  EXPECT_EQ(containers(), (std::set<std::string>{"a", "b"}));
  const ZOVContainerAnchor all;
  server->removeObsoleteResourceAnchors(&all, 2);
  EXPECT_EQ(containers(), std::set<std::string>{"b"});
  EXPECT_EQ(reader.read(*server, ZOVContainerTransactionAnchor()), ZOVReturnCode(0));  // another type
  server->removeObsoleteResourceAnchors(ZOVSample::DataSourceResource, 2);
  EXPECT_EQ(reader.read(*server, ZOVContainerTransactionAnchor()), ZOVReturnCode(0));
  EXPECT_TRUE(reader.samples.empty());
  save(sample<ZOVContainerSample>("a", 6), 3);
  EXPECT_EQ(containers(), (std::set<std::string>{"a", "b"}));
  server->markResourceAnchorsLogicallyDeleted(ZOVSample::DataSourceResource);
  EXPECT_EQ(containers(), std::set<std::string>{});
}

TEST_F(ResourceAnchorsTest, AnchorsThatDoNotReportAreRemovedByTime) {
  constexpr int Retain = 3600;
  enum State { Live, Marked, HistoryTaken };
  const struct {
    const char* what;
    bool interval;
    State state;
    int age;
    bool removed;
    int duration = 60;
    int retain = Retain;
  } cases[] = {
      {"live, cumulative, old", false, Live, 10 * Retain, false},
      {"live, young", true, Live, Retain, false},
      {"live, old", true, Live, Retain + 1, true},
      {"live, within two intervals", true, Live, 2 * Retain, false, Retain},
      {"live, beyond two intervals", true, Live, 2 * Retain + 1, true, Retain},
      {"live, nothing retained", true, Live, 121, true, 60, 0},
      {"marked, young", false, Marked, Retain - 1, false},
      {"marked, old", false, Marked, Retain, true},
      {"marked interval, young", true, Marked, Retain - 1, false},
      {"marked interval, old", true, Marked, Retain, true},
      {"marked, nothing retained", false, Marked, 0, true, 60, 0},
      {"history taken, young", true, HistoryTaken, Retain, false},
      {"history taken, old", true, HistoryTaken, Retain + 1, true},
      {"cumulative, history taken, young", false, HistoryTaken, Retain - 1, false},
      {"cumulative, history taken, old", false, HistoryTaken, Retain, true},
      {"cumulative, history taken, nothing retained", false, HistoryTaken, 0, true, 60, 0},
  };
  const ZOVWorkloadSumAnchor requests;
  const ZOVContainerAnchor containers;
  for (const auto& test : cases) {
    SCOPED_TRACE(test.what);
    services.serverParms.setRetainHistory(test.retain);
    SetUp();
    const auto saveOne = [&] {
      if (test.interval) return save(request("/a", test.duration), 1);
      auto made = sample<ZOVContainerSample>("a", 6);
      made->saveNumericData(178, 1);
      save(std::move(made), 1);
    };
    saveOne();
    const auto source = test.interval ? ZOVSample::DataSourceWorkload : ZOVSample::DataSourceResource;
    const ZOVResourceAnchor& wanted =
        test.interval ? static_cast<const ZOVResourceAnchor&>(requests) : containers;
    if (test.state != Live) server->markResourceAnchorsLogicallyDeleted(source);
    if (test.state == HistoryTaken) reader.read(*server, wanted, SaveSampleHistorical);
    StepClock::step(test.age);
    const std::size_t before = ZOVMemoryManager::CurrentAllocation;
    server->removeObsoleteResourceAnchorsByTime(source);
    EXPECT_EQ(ZOVMemoryManager::CurrentAllocation < before, test.removed);
  }
}

TEST_F(ResourceAnchorsTest, ASweepOfAnotherSourceRemovesNothing) {
  save(request("/a", 60), 1);
  StepClock::step(100'000);
  for (const auto source : {ZOVSample::DataSourceResource, ZOVSample::DataSourceProfiler,
                            ZOVSample::DataSourceVerboseGC, ZOVSample::DataSourceNone}) {
    server->removeObsoleteResourceAnchorsByTime(source);
  }
  EXPECT_EQ(reader.read(*server, ZOVWorkloadSumAnchor()), ZOVReturnCode(0));
}

TEST_F(ResourceAnchorsTest, RecentRequestsAnswerWhatTheySelectForTheAgeOfTheirKind) {
  services.serverParms.setRequestCollectAgeMax(10);
  services.serverParms.setResourceCollectAgeMax(20);
  const ZOVContainerAnchor containers, a("a", 0), b("b", 0);
  const ZOVWorkloadSumAnchor requests;
  const struct {
    const char* what;
    const ZOVResourceAnchor& noted;
    const ZOVResourceAnchor& wanted;
    int age, wallSetBy;
    bool found;
  } cases[] = {
      {"the same", containers, containers, 20, 0, true},
      {"too old", containers, containers, 21, 0, false},
      {"requests age faster", requests, requests, 10, 0, true},
      {"requests too old", requests, requests, 11, 0, false},
      {"one of all", containers, a, 0, 0, true},
      {"all of one", a, containers, 0, 0, false},
      {"another one", a, b, 0, 0, false},
      {"another type", containers, requests, 0, 0, false},
      {"the wall clock is set forward", containers, containers, 20, 100'000, true},
      {"the wall clock is set back", containers, containers, 21, -100'000, false},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.what);
    SetUp();
    server->defineCachedSampleRequest(test.noted);
    StepClock::step(test.age);
    StepClock::setWallBy(test.wallSetBy);
    EXPECT_EQ(server->findCachedSampleRequest(test.wanted), test.found);
    StepClock::step(1000);
    EXPECT_FALSE(server->findCachedSampleRequest(test.wanted));
  }
}

TEST_F(ResourceAnchorsTest, HistoryIsKeptAndReadByTheWordsOfTheConfiguration) {
  const ZOVResourceAnchor types[] = {ZOVResourceAnchor(ZOVSample::SampleTypeContainer),
                                     ZOVResourceAnchor(ZOVSample::SampleTypeWorkloadSummary),
                                     ZOVResourceAnchor(ZOVSample::SampleTypeGarbageCollection),
                                     ZOVResourceAnchor(ZOVSample::SampleTypeApplicationServerEvent),
                                     ZOVResourceAnchor(ZOVSample::SampleTypeThread),
                                     ZOVResourceAnchor(ZOVSample::SampleTypeProductEvent)};
  const struct {
    const char* words;
    const char* kept;  // a letter for each of the types
  } cases[] = {
      {"ALL", "yyyynn"}, {"NONE", "nnnnnn"},      {"PSI", "ynnnnn"},           {"WA", "nynnnn"},
      {"LOG", "nnnynn"}, {"VERBOSEGC", "nnynnn"}, {"IVS HEAP LOCK", "nnnnnn"}, {"wa, psi", "yynnnn"}};
  for (const auto& test : cases) {
    SCOPED_TRACE(test.words);
    services.serverParms.setHistoricalCollection(test.words);
    SetUp();
    StepClock::step(1);  // or the messages are too many for their second
    std::string kept;
    for (const ZOVResourceAnchor& type : types) {
      const ZOVReturnCode rc = reader.read(*server, type, SaveSampleHistorical);
      kept += rc == ZOV_OK ? 'y' : rc == ZOV_NO_HISTORY ? 'n' : '?';
    }
    EXPECT_EQ(kept, test.kept);
  }
  EXPECT_EQ(environment.issued().back().substr(0, 9), "ZOVA0099W");
}

TEST_F(ResourceAnchorsTest, OfCyclesTheNewestAreKeptOnceEachAlsoForTheHistory) {
  services.serverParms.setHistoricalCollection("VERBOSEGC");
  SetUp();
  const ZOVGCDetailAnchor all;
  const auto bytes = [&](int cycles) {
    const std::size_t before = zov::MemoryAccount::allServers().used();
    for (int i = 0; i < cycles; ++i) {
      auto cycle = std::make_unique<ZOVGCDetailSample>();
      cycle->saveNumericData(1076, ++lastCycle);
      save(std::move(cycle), 1);
    }
    return zov::MemoryAccount::allServers().used() - before;
  };
  EXPECT_LT(bytes(1), 2 * ZOVGCDetailSample().memoryBytes()) << "no copy";
  EXPECT_NE(bytes(9'999), 0U);
  EXPECT_EQ(bytes(5), 0U);
  reader.read(*server, all);
  EXPECT_EQ(reader.samples.size(), 10'000U);
  EXPECT_EQ(reader.read(*server, ZOVGCDetailAnchor(0, 0, 5)), ZOVReturnCode(9)) << "the oldest have gone";
  for (const std::size_t left : {10'000U, 0U}) {
    EXPECT_EQ(reader.read(*server, all, SaveSampleHistorical), ZOVReturnCode(0));
    EXPECT_EQ(reader.samples.size(), left);
  }
  EXPECT_EQ(reader.read(*server, all), ZOVReturnCode(0));
  EXPECT_EQ(reader.samples.size(), 10'000U);
}

TEST_F(ResourceAnchorsTest, TheServersOwnSampleCarriesItsProcessAndStatus) {
  server->setDCProbeManagerProcessId(4711);
  EXPECT_EQ(reader.read(*server, ZOVAppServerAnchor()), ZOVReturnCode(0));  // none yet
  EXPECT_EQ(reader.names(), std::set<std::string>{"shop"});
  EXPECT_EQ(reader.number(4), 4711);
  EXPECT_EQ(reader.number(61), 1);
  save(std::make_unique<ZOVAppServerSample>(), 1);
  EXPECT_EQ(reader.read(*server, ZOVAppServerAnchor()), ZOVReturnCode(0));
  EXPECT_EQ(reader.number(4), 4711);
  EXPECT_EQ(reader.number(61), 1);
}

TEST(ResourceAnchorTableTest, WalksAllTypesAndSurvivesRemoval) {
  ZOVResourceAnchorTable table;
  ZOVResourceAnchorTableIterator empty(table);
  EXPECT_EQ(empty(), nullptr);
  for (const auto type :
       {ZOVSample::SampleTypeContainer, ZOVSample::SampleTypeThreadPool, ZOVSample::SampleTypePSI}) {
    for (const char* name : {"a", "b"}) EXPECT_TRUE(table.insert(new ZOVResourceAnchor(type, name)));
  }
  ZOVResourceAnchor outside(static_cast<ZOVSample::_SampleType>(82));
  EXPECT_FALSE(table.insert(&outside));
  EXPECT_EQ(table.find(&outside), nullptr);
  EXPECT_EQ(table.getIteratorForSampleType(-1), nullptr);

  ZOVResourceAnchorTableIterator next(table);
  const ZOVResourceAnchor wanted(ZOVSample::SampleTypeThreadPool, "b");
  EXPECT_EQ(next.findNext(&wanted), table.find(&wanted));
  EXPECT_EQ(next.findNext(&wanted), nullptr);
  next.reset();
  int count = 0;
  for (ZOVResourceAnchor* following = next(); ZOVResourceAnchor* anchor = following; ++count) {
    following = next();
    table.removeAndDestroy(anchor);
  }
  EXPECT_EQ(count, 6);
  next.reset();
  EXPECT_EQ(next(), nullptr);
}

}  // namespace
