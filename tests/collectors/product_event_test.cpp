#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "collectors/product_event_collector.h"
#include "support/diagnostic_environment.h"

namespace {

std::string field(const ZOVProductEventSample& sample, void (ZOVProductEventSample::*copy)(char*, int) const,
                  int size = 400) {
  std::string out(static_cast<std::size_t>(size), '#');
  (sample.*copy)(out.data(), size);
  return out.c_str();
}
std::string id(const ZOVProductEventSample& sample) {
  return field(sample, &ZOVProductEventSample::copyMsgId);
}

/// A collector whose framework takes events while `answer` is 0.
class ProductEventTest : public testing::Test {
 protected:
  void SetUp() override {
    emitted.clear();
    answer = 0;
    ZOVProductEventCollector::setEmitter(
        [](const ZOVProductEventSample* sample, const ZOVApplicationServerBase*) {
          if (answer == 0) emitted.push_back(id(*sample));
          return answer;
        });
  }
  void TearDown() override { ZOVProductEventCollector::setEmitter(nullptr); }

  void post(const std::string& message) {
    EXPECT_EQ(collector.postProductEvent("zovcagnt.cpp", "f", 12, &when, 2, message.c_str()), 0);
  }
  /// Posts messages named E<first> to E<last>.
  void postNumbered(int first, int last) {
    for (int i = first; i <= last; ++i) post(name(i) + " text");
  }
  static std::string name(int number) { return "E" + std::to_string(number); }
  std::vector<std::string> retained() {
    std::vector<std::string> ids;
    collector.forEachSample([&](const ZOVProductEventSample& sample) { ids.push_back(id(sample)); });
    return ids;
  }

  static inline std::vector<std::string> emitted;
  static inline unsigned int answer;
  DiagnosticEnvironment environment;
  ZOVProductEventCollector collector;
  struct tm when = {};
};

TEST_F(ProductEventTest, SplitsMessagesAtTheirIdentifier) {
  const struct {
    const char* message;
    const char* id;
    const char* description;
  } cases[] = {
      {"ZOVA0001I  two blanks", "ZOVA0001I", " two blanks"},
      {"SHORT1 text of it", "SHORT1", "text of it"},
      {"ABCDEFGHIJKL text", "ABCDEFGHIJKL", "text"},
      {"ABCDEFGHIJKLMNOPQRS text", "ABCDEFGHIJKLMNO", "PQRS text"},
      {"word", "word", ""},
      {" x y", " x", "y"},
      {"", "", ""},
  };
  for (const auto& c : cases) {
    post(c.message);
    collector.forEachSample([&](const ZOVProductEventSample& sample) {
      EXPECT_EQ(id(sample), c.id) << c.message;
      EXPECT_EQ(field(sample, &ZOVProductEventSample::copyMsgDesc), c.description) << c.message;
    });
    collector.setMaxSamples(0);
    collector.setMaxSamples(20);
  }
  EXPECT_EQ(collector.postProductEvent(nullptr, nullptr, 0, nullptr, 0, nullptr), 0);
}

TEST_F(ProductEventTest, FillsTheSample) {
  when.tm_year = 126, when.tm_mon = 10, when.tm_mday = 2, when.tm_hour = 3, when.tm_min = 4, when.tm_sec = 5;
  post("ZOVA0001I caf\xC3\xA9");
  collector.forEachSample([&](const ZOVProductEventSample& sample) {
    EXPECT_EQ(field(sample, &ZOVProductEventSample::copyTimeStamp), "1261102030405000");
    EXPECT_EQ(field(sample, &ZOVProductEventSample::copyFile), "zovcagnt");
    char narrow[] = "########";
    sample.copyMsgId(narrow, 7);
    EXPECT_STREQ(narrow, "ZOVA000#") << "a full field has no zero byte";
  });
}

TEST_F(ProductEventTest, RetainsTheLatest) {
  postNumbered(1, 21);
  ASSERT_EQ(retained().size(), 20U);
  EXPECT_EQ(retained().front(), "E2");
  collector.setMaxSamples(5);
  EXPECT_EQ(retained(), (std::vector<std::string>{"E18", "E19", "E20", "E21"})) << "one place stays free";
  for (const int none : {0, -3}) {
    collector.setMaxSamples(none);
    postNumbered(22, 22);
    EXPECT_TRUE(retained().empty());
  }
  EXPECT_EQ(emitted.size(), 23U) << "all are offered";
}

TEST_F(ProductEventTest, RefusedEventsWaitInOrderTheLatestHundred) {
  answer = 45;
  postNumbered(1, 101);
  EXPECT_EQ(collector.releasePendingSamples(), 45U);
  answer = 0;
  postNumbered(102, 102);
  ASSERT_EQ(emitted.size(), 101U);
  for (int i = 0; i < 101; ++i) EXPECT_EQ(emitted[static_cast<std::size_t>(i)], name(i + 2));
  EXPECT_EQ(collector.releasePendingSamples(), 0U);
  EXPECT_EQ(emitted.size(), 101U) << "none is offered twice";
}

TEST_F(ProductEventTest, TextsAreCutAtWhatTheirColumnHolds) {
  post("ZOVA0001I " + std::string(255, 'x') + "\xC3\xA9" + std::string(5'000'000, 'y'));
  collector.forEachSample([&](const ZOVProductEventSample& sample) {
    EXPECT_EQ(field(sample, &ZOVProductEventSample::copyMsgDesc), std::string(255, 'x'));
  });
}

}  // namespace
