// What a collector can make the agent hold, by what the agent counts.

#include "runtime/memory_account.h"
#include "support/server_rig.h"

namespace {

constexpr std::size_t KiB = ZOVBudgets::KiB;

class BudgetsTest : public testing::Test {
 protected:
  ~BudgetsTest() override { zovBudgets() = former; }

  /// A poll of now.
  ZOVReturnCode poll(std::vector<WireFrame> samples) {
    collector->setSamples(std::move(samples));
    return server->getOnDemandProfilerSamples(
        ZOVResourceAnchor(ZOVApplicationServerBase::EverythingSampleType));
  }
  void connect() {
    rig.start();
    collector = rig.serve("shop");
    server = rig.server("shop");
  }
  std::set<std::string> requests() {
    reader.read(*server, ZOVWorkloadSumAnchor());
    return reader.names();
  }
  int told(const std::string& limit) {
    int count = 0;
    for (const std::string& message : rig.environment.issued()) {
      count += message.starts_with("ZOVA0178W Application server shop: ") &&
               message.find(limit) != std::string::npos;
    }
    return count;
  }
  static WireFrame abbreviation(const std::string& text, const std::string& shortForm) {
    return wireSample(59).text(1020, text).text(1021, shortForm);
  }

  const ZOVBudgets former = zovBudgets();
  ServerRig rig;
  std::unique_ptr<FakeCollector> collector;
  std::shared_ptr<ZOVApplicationServer> server;
  Reader reader;
};

TEST_F(BudgetsTest, APollIsDroppedByWhatItsSamplesTakeAndTheSessionGoesOn) {
  zovBudgets().poll.bytes = 64 * KiB;
  connect();
  const struct {
    const char* what;
    std::vector<WireFrame> samples;
    bool dropped;
  } cases[] = {
      {"few", {requestSample("/few", 1)}, false},
      {"empty ones", std::vector<WireFrame>(200, wireSample(31)), true},
      {"expanded", std::vector<WireFrame>(10, requestSample("#1", 1)), true},
      {"one that is large", {requestSample(std::string(65 * KiB, 'x'), 1)}, true},
  };
  ASSERT_EQ(poll({abbreviation(std::string(30 * KiB, 'a'), "#1")}), ZOVReturnCode(0));
  int dropped = 0;
  for (const auto& test : cases) {
    SCOPED_TRACE(test.what);
    dropped += test.dropped;
    EXPECT_EQ(poll(test.samples), test.dropped ? ZOVReturnCode(3) : ZOVReturnCode(0));
    EXPECT_EQ(told("over the limit of 65536 bytes for the samples of a poll"), dropped);
    EXPECT_EQ(requests(), std::set<std::string>{"/few"}) << "nothing is saved and nothing is marked";
  }
  EXPECT_EQ(poll({requestSample("/next", 1)}), ZOVReturnCode(0));
  EXPECT_TRUE(requests().contains("/next"));
  EXPECT_EQ(zov::MemoryAccount::allPolls().used(), 0U);
  EXPECT_FALSE(rig.issued("ZOVA0015E"));
}

TEST_F(BudgetsTest, ADroppedPollStillTellsAbbreviations) {
  zovBudgets().poll.bytes = 64 * KiB;
  connect();
  std::vector<WireFrame> samples(200, wireSample(31));
  samples.push_back(abbreviation("/told/once", "#1"));
  EXPECT_EQ(poll(samples), ZOVReturnCode(3));
  EXPECT_EQ(poll({requestSample("#1", 1)}), ZOVReturnCode(0));
  EXPECT_EQ(requests(), std::set<std::string>{"/told/once"});
}

TEST_F(BudgetsTest, AbbreviationsAreCountedInBytesAndARedefinitionIsNoOverflow) {
  zovBudgets().abbreviations.bytes = 64 * KiB;
  connect();
  const std::string text(20 * KiB, 'x');
  EXPECT_EQ(
      poll({abbreviation(text + "1", "#1"), abbreviation(text + "2", "#2"), abbreviation(text + "3", "#3")}),
      ZOVReturnCode(0));
  EXPECT_EQ(told("an abbreviation dropped"), 0);
  EXPECT_EQ(poll({abbreviation("four", "#4"), abbreviation(text + "5", "#5"), abbreviation(text + "6", "#6"),
                  abbreviation(text + "9", "#3"), requestSample("#3", 1), requestSample("#4", 1),
                  requestSample("#6", 1)}),
            ZOVReturnCode(0));
  EXPECT_EQ(told("over the limit of 65536 bytes for the abbreviations of a server"), 1) << "once a poll";
  EXPECT_EQ(requests(), (std::set<std::string>{text + "9", "four", "#6"}));
  // A text that is too long takes the one that it was to replace with it.
  EXPECT_EQ(poll({abbreviation(std::string(32 * KiB, 'y'), "#3"), requestSample("#3", 1)}), ZOVReturnCode(0));
  EXPECT_EQ(told("over the limit of 32768 bytes for an abbreviation"), 1);
  EXPECT_EQ(requests(), std::set<std::string>{"#3"});
  EXPECT_FALSE(rig.issued("ZOVA0015E"));
}

TEST_F(BudgetsTest, FullAnchorsGoOnBeingUpdatedAndSaySoOnceAnHour) {
  zovBudgets().anchors.bytes = 64 * KiB;
  connect();
  const auto many = [](int from, long long count) {
    std::vector<WireFrame> samples;
    for (int i = from; i < from + 200; ++i) samples.push_back(requestSample("/" + std::to_string(i), count));
    return samples;
  };
  EXPECT_EQ(poll(many(0, 1)), ZOVReturnCode(0));
  const std::set<std::string> kept = requests();
  EXPECT_GT(kept.size(), 5U);
  EXPECT_LT(kept.size(), 100U);
  EXPECT_EQ(poll(many(0, 2)), ZOVReturnCode(0));
  EXPECT_EQ(requests(), kept);
  EXPECT_EQ(reader.number(703), 2) << "updated";
  EXPECT_EQ(poll({requestSample(std::string(64 * KiB, 'x'), 1)}), ZOVReturnCode(0)) << "an anchor of its own";
  const std::string limit = "over the limit of 65536 bytes for the anchors of a server";
  EXPECT_EQ(told(limit), 1);
  rig.step(3599);
  EXPECT_EQ(poll(many(1000, 1)), ZOVReturnCode(0));
  EXPECT_EQ(told(limit), 1);
  rig.step(1);
  EXPECT_EQ(poll(many(2000, 1)), ZOVReturnCode(0));
  EXPECT_EQ(told(limit), 2);
  EXPECT_LE(zov::MemoryAccount::allServers().used(), 64 * KiB);

  // What goes gives its memory back.
  rig.step(100'000);
  server->removeObsoleteResourceAnchorsByTime(ZOVSample::DataSourceWorkload);
  EXPECT_EQ(poll({requestSample("/fresh", 1)}), ZOVReturnCode(0));
  EXPECT_EQ(requests(), std::set<std::string>{"/fresh"});
}

TEST_F(BudgetsTest, HistoryIsCountedAndGivenBack) {
  rig.services.serverParms.setHistoricalCollection("WA");
  connect();
  const auto used = [] { return zov::MemoryAccount::allServers().used(); };
  const std::string name(8 * KiB, 'x');
  ASSERT_EQ(poll({requestSample(name, 1)}), ZOVReturnCode(0));
  const std::size_t withHistory = used();
  ASSERT_EQ(reader.read(*server, ZOVWorkloadSumAnchor(), SaveSampleHistorical), ZOVReturnCode(0));
  EXPECT_LT(used() + 8 * KiB, withHistory);
  ASSERT_EQ(poll({requestSample(name, 1)}), ZOVReturnCode(0));
  EXPECT_EQ(used(), withHistory);
}

TEST_F(BudgetsTest, AllServersShareOneLimit) {
  zovBudgets().setMemoryLimit(256 * KiB);
  connect();
  const auto other = rig.serve("other");
  for (int i = 0; i < 8; ++i) {
    std::vector<WireFrame> samples;
    for (int j = 0; j < 60; ++j) samples.push_back(requestSample(std::to_string(60 * i + j), 1));
    EXPECT_EQ(poll(samples), ZOVReturnCode(0));
  }
  EXPECT_LE(zov::MemoryAccount::allServers().used(), 256 * KiB);
  EXPECT_EQ(told("over the limit of 262144 bytes for what is kept of all servers (ZOV_MEMORY_LIMIT)"), 1);
  server = rig.server("other");
  other->setSamples({requestSample("/other", 1)});
  EXPECT_EQ(server->getOnDemandProfilerSamples(ZOVWorkloadSumAnchor()), ZOVReturnCode(0));
  EXPECT_TRUE(requests().empty());
  server.reset();
  collector.reset();
  rig.stop();
  EXPECT_EQ(zov::MemoryAccount::allServers().used(), 0U);
}

TEST_F(BudgetsTest, VariablesHaveABudgetEach) {
  zovBudgets().properties.bytes = zovBudgets().environment.bytes = 8 * KiB;
  connect();
  const std::string value(6 * KiB, 'x');
  std::vector<WireFrame> samples;
  for (const int type : {41, 55}) {
    for (const char* name : {"first", "first", "second"}) {
      samples.push_back(wireSample(type).text(870, name).text(871, value));
    }
  }
  EXPECT_EQ(poll(samples), ZOVReturnCode(0));
  EXPECT_EQ(told("over the limit of 8192 bytes for the Java properties"), 1);
  EXPECT_EQ(told("over the limit of 8192 bytes for the environment variables"), 1);
  RWCString found;
  EXPECT_TRUE(server->findJavaProperty("first", found) && found.length() == value.size());
  EXPECT_FALSE(server->findJavaProperty("second", found));
  EXPECT_TRUE(server->findEnvVariable("first", ZOVEnvVariableSample::VariableAny, found));
  EXPECT_FALSE(server->findEnvVariable("second", ZOVEnvVariableSample::VariableAny, found));
}

TEST_F(BudgetsTest, APollEndsByItsFramesOrItsBytes) {
  const struct {
    const char* what;
    std::size_t frames, bytes;
  } cases[] = {{"frames", 50, 1 << 20}, {"bytes", 1000, 500}};
  connect();
  for (const auto& test : cases) {
    SCOPED_TRACE(test.what);
    zovBudgets().pollFrames = test.frames;
    zovBudgets().pollWireBytes = test.bytes;
    EXPECT_EQ(poll(std::vector<WireFrame>(100, wireSample(31))), ZOVReturnCode(19));
    EXPECT_EQ(server->getStatus(), ServerDisconnected);
    zovBudgets() = former;
    collector = rig.serve("shop");
  }
}

}  // namespace
