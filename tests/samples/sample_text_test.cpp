#include <gtest/gtest.h>

#include <limits>
#include <memory>

#include "platform/clock.h"
#include "samples/sample_classes.h"

namespace {

TEST(SampleText, FixedPointIntegers) {
  struct {
    const char* text;
    unsigned int decimals;
    long long result;
  } const cases[] = {{"12.9", 0, 12},
                     {"-3", 0, -3},
                     {"1.23456", 3, 1234},
                     {"-0.5", 1, -5},
                     {"7", 2, 700},
                     {"", 3, 0},
                     {".5", 1, 5},
                     {"five", 0, 0},
                     {"-", 0, 0},
                     {"--3", 0, 3},
                     {"1.2.3", 1, 12},
                     {"1.x", 1, 10},
                     {"3", 99, 3},
                     {"12cats", 0, 12},
                     {"99999999999999999999", 0, std::numeric_limits<long long>::max()},
                     {"9223372036854775807", 1, -10}};
  for (const auto& c : cases) {
    EXPECT_EQ(ZOVSample::convertStringValueToInt(c.text, c.decimals), c.result) << c.text;
  }
}

TEST(SampleText, Statistics) {
  struct {
    const char* text;
    double total, count;
  } const cases[] = {
      {"3.5/7", 3.5, 7}, {"3.5/1E2", 3.5, 100}, {"3.5/7.9", 3.5, 7}, {"3.5", 3.5, 0}, {"/4", 0, 4},
      {"", 0, 0},        {"1e3/2e3", 1000, 2},  {"x/y", 0, 0},
  };
  for (const auto& c : cases) {
    double total = -9;
    double count = -9;
    ZOVSample::convertPerfLoadValue(c.text, total, count);
    EXPECT_EQ(total, c.total) << c.text;
    EXPECT_EQ(count, c.count) << c.text;
  }
}

TEST(SampleText, LinesBecomeValuesAndWhatIsNoNumberIsNone) {
  ZOVClock::setSource([]() -> std::int64_t { return 1'500'000'000LL * 1'000'000; });
  const std::unique_ptr<ZOVSample> sample(ZOVSample::buildFromSampleString(
      ZOVSample::SampleTypeDBConnection,
      "DBNAME=h\xc3\xb6st\n\n\nno equals sign\n=3\nbogus=3\nnumCreates=many\n"
      "numDestroys=-\npoolSize=x/2\nnumAllocates=4=5\nnumReturns=.5\n"
      "numReturnsAndMore=6\nnumWaiters=3/x"));
  ZOVClock::setSource(nullptr);
  EXPECT_EQ(sample->getSampleTime(), 1'500'000'000U);
  EXPECT_EQ(sample->getStringData(zov::key::data_source_name), "h\xc3\xb6st");
  const std::pair<int, long long> cases[] = {{zov::key::db_connections_created, -1},
                                             {zov::key::db_connections_destroyed, -1},
                                             {zov::key::db_pool_size, -1},
                                             {zov::key::db_connections_allocated, 4},
                                             {zov::key::db_connections_returned, 0}};
  for (const auto& [key, expected] : cases) EXPECT_EQ(sample->getTotalCount(key), expected) << key;
}

TEST(SampleText, TheFirstKeywordOfAnAmbiguousPairWins) {
  // "creates" stands for the entity beans' counter first, which folds into the container's own.
  const std::unique_ptr<ZOVSample> sample(
      ZOVSample::buildFromSampleString(ZOVSample::SampleTypeContainer, "creates=4\nstatefulBeanCreates=3"));
  EXPECT_EQ(sample->getTotalCount(174), 7);
  EXPECT_EQ(sample->getTotalCount(159), -1);
}

}  // namespace
