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
  } const cases[] = {
      {"12.9", 0, 12},
      {"-3", 0, -3},
      {"1.5", 3, 1500},
      {"1.23456", 3, 1234},
      {"-0.5", 1, -5},
      {"7", 2, 700},
      {"", 3, 0},
      {".5", 1, 5},
      {"five", 0, 0},
      {"12cats", 0, 12},
      {"-", 0, 0},
      {"--3", 0, 3},
      {"1.2.3", 1, 12},
      {"1.x", 1, 10},
      {"3", 99, 3},
      {"\xd9\xa3", 0, 0},
      {"99999999999999999999", 0, std::numeric_limits<long long>::max()},
      {"9223372036854775807", 1, -10},
  };
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

TEST(SampleText, LinesBecomeValues) {
  ZOVClock::setSource([]() -> std::int64_t { return 1'500'000'000LL * 1'000'000; });
  const std::unique_ptr<ZOVSample> sample(ZOVSample::buildFromSampleString(ZOVSample::SampleTypeServlet,
                                                                           "appl_name=shop\n"
                                                                           "\n\n"
                                                                           "VHOST_NAME=h\xc3\xb6st\n"
                                                                           "Totalrequests=17=18\n"
                                                                           "numErrors\n"
                                                                           "serve_il=\n"
                                                                           "=3\n"
                                                                           "noSuchKeyword=5\n"
                                                                           "numErrorsAndMore=6\n"
                                                                           "responseTime=12.5/4\n"
                                                                           "concurrentRequests=3/2\n"
                                                                           "is_jsp=1.9"));
  ZOVClock::setSource(nullptr);
  ASSERT_TRUE(sample);
  EXPECT_EQ(sample->getSampleTime(), 1'500'000'000U);
  EXPECT_EQ(sample->getStringData(9), "shop");
  EXPECT_EQ(sample->getStringData(267), "h\xc3\xb6st");
  EXPECT_EQ(sample->getTotalCount(261), 17);
  EXPECT_EQ(sample->getTotalCount(260), -1);
  EXPECT_EQ(sample->getNumericData(57), -1);
  EXPECT_EQ(sample->getTotalForStatinfo(263), 12.5);
  EXPECT_EQ(sample->getTotalNumSamplesForStatinfo(262), 2);
  EXPECT_EQ(sample->getNumericData(272), 1);
}

TEST(SampleText, WhatIsNoNumberIsNoValue) {
  const std::unique_ptr<ZOVSample> sample(ZOVSample::buildFromSampleString(
      ZOVSample::SampleTypeDBConnection,
      "numCreates=many\nno equals sign\nbogus=3\nnumDestroys=-\npoolSize=x/2\nnumAllocates=4\nnumReturns=.5\n"
      "numWaiters=3/x\ndbname=none\n"));
  const struct {
    int key;
    long long expected;
  } cases[] = {{zov::key::db_connections_created, -1},
               {zov::key::db_connections_destroyed, -1},
               {zov::key::db_pool_size, -1},
               {zov::key::db_connections_allocated, 4},
               {zov::key::db_connections_returned, 0}};
  for (const auto& one : cases) EXPECT_EQ(sample->getTotalCount(one.key), one.expected) << one.key;
  EXPECT_EQ(sample->getStringData(zov::key::data_source_name), "none");
}

TEST(SampleText, TheFirstKeywordOfAnAmbiguousPairWins) {
  // "creates" stands for the entity beans' counter first, which folds into the container's own.
  const std::unique_ptr<ZOVSample> sample(
      ZOVSample::buildFromSampleString(ZOVSample::SampleTypeContainer, "creates=4\nstatefulBeanCreates=3"));
  EXPECT_EQ(sample->getTotalCount(174), 7);
  EXPECT_EQ(sample->getTotalCount(159), -1);
}

}  // namespace
