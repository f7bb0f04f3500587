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
};

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
  EXPECT_EQ(reader.read(*server, ZOVContainerTransactionAnchor()), ZOVReturnCode(9));
  save(sample<ZOVContainerSample>("a", 6), 3);
  EXPECT_EQ(containers(), (std::set<std::string>{"a", "b"}));
  server->markResourceAnchorsLogicallyDeleted(ZOVSample::DataSourceResource);
  EXPECT_EQ(containers(), std::set<std::string>{});
}

TEST_F(ResourceAnchorsTest, AnchorsThatDoNotReportAreRemovedByTime) {
  constexpr int Retain = 3600;
  const struct {
    const char* what;
    bool interval, marked;
    int age;
    bool removed;
  } cases[] = {
      {"live, cumulative, old", false, false, 10 * Retain, false},
      {"live, interval, young", true, false, Retain, false},
      {"live, interval, old", true, false, Retain + 1, true},
      {"marked, young", false, true, Retain - 1, false},
      {"marked, old", false, true, Retain, true},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.what);
    SetUp();
    if (test.interval) {
      auto request = std::make_unique<ZOVDataSourceDetSample>();
      request->saveStringData(8, "ds");
      request->saveNumericData(21, 60);
      save(std::move(request), 1);
    } else {
      save(sample<ZOVContainerSample>("a", 6), 1);
    }
    const auto source = test.interval ? ZOVSample::DataSourceWorkload : ZOVSample::DataSourceResource;
    if (test.marked) server->markResourceAnchorsLogicallyDeleted(source);
    StepClock::step(test.age);
    server->removeObsoleteResourceAnchorsByTime(source);
    // What was removed comes back as a resource without a past.
    const ZOVDataSourceAnchor dataSources;
    const ZOVContainerAnchor all;
    const ZOVResourceAnchor& wanted =
        test.interval ? static_cast<const ZOVResourceAnchor&>(dataSources) : all;
    const ZOVReturnCode history = reader.read(*server, wanted, SaveSampleHistorical);
    EXPECT_EQ(history == ZOV_NO_SUCH_RESOURCE, test.removed);
  }
}

TEST_F(ResourceAnchorsTest, HistoryIsReadOnlyWhereItIsKept) {
  services.serverParms.setHistoricalCollection("WA");
  SetUp();
  EXPECT_EQ(reader.read(*server, ZOVContainerAnchor(), SaveSampleHistorical), ZOVReturnCode(149));
  EXPECT_EQ(reader.read(*server, ZOVWorkloadSumAnchor(), SaveSampleHistorical), ZOVReturnCode(9));
}

TEST_F(ResourceAnchorsTest, TheServersOwnSampleCarriesItsProcessAndStatus) {
  EXPECT_EQ(reader.read(*server, ZOVAppServerAnchor()), ZOVReturnCode(0));  // none yet: name and status
  EXPECT_EQ(reader.names(), std::set<std::string>{"shop"});
  EXPECT_EQ(reader.number(61), 1);
  server->setDCProbeManagerProcessId(4711);
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
