#include <gtest/gtest.h>

#include <limits>
#include <thread>

#include "kinds_sample.h"
#include "samples/sample_classes.h"
#include "support/step_clock.h"

using kinds::Sample;

namespace {

constexpr long long Null = -1;
constexpr long long Largest = std::numeric_limits<long long>::max();
constexpr long long Smallest = std::numeric_limits<long long>::min();

TEST(SampleValues, EachKindReadsAsItShouldBeforeRating) {
  Sample sample(kinds::cumulative);
  for (int key : kinds::keys) sample.withStatistic(key, 3.5, 7.9).with(key, 42);
  struct {
    int key;
    long long data, total, rate, percent;
    double statistic;
  } const cases[] = {
      {kinds::Numeric, 42, 42, 0, 0, 0},
      {kinds::Counter, Null, 42, Null, 0, 0},
      {kinds::FromZero, Null, 42, Null, 0, 0},
      {kinds::Percent, Null, 42, 0, Null, 0},
      {kinds::StatInfo, Null, 0, 0, 0, 3.5},
      {kinds::PerfLoad, Null, 0, 0, 0, 3.5},
      {kinds::Maximum, 42, 42, 0, 0, 0},
      {kinds::Minimum, 42, 42, 0, 0, 0},
      {zov::key::sample_time, 1000, 0, 0, 0, 0},
      {110, 0, 0, 0, 0, 0},
      {-1, 0, 0, 0, 0, 0},
      {KeyTableSize, 0, 0, 0, 0, 0},
      {std::numeric_limits<int>::min(), 0, 0, 0, 0, 0},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(sample.getNumericData(c.key), c.data) << c.key;
    EXPECT_EQ(sample.getTotalCount(c.key), c.total) << c.key;
    EXPECT_EQ(sample.getRate(c.key), c.rate) << c.key;
    EXPECT_EQ(sample.getPercent(c.key), c.percent) << c.key;
    EXPECT_EQ(sample.getTotalForStatinfo(c.key), c.statistic) << c.key;
  }
  for (int key : kinds::keys) {
    sample.with(key, Null);
    EXPECT_EQ(sample.getNumericData(key), Null) << key;
    EXPECT_EQ(sample.getTotalForStatinfo(key), -1.0) << key;
  }
}

/// Counters between two cumulative samples.
TEST(SampleRates, CumulativeCounters) {
  struct {
    const char* what;
    int key;
    bool hasPrevious;
    long long before, now;
    unsigned int seconds;
    long long delta, rate;
  } const cases[] = {
      {"first sample of a counter", kinds::Counter, false, 0, 500, 0, Null, Null},
      {"first sample of a counter from zero", kinds::FromZero, false, 0, 500, 0, 500, 0},
      {"second sample", kinds::Counter, true, 500, 560, 8, 60, 7500},
      {"second sample from zero", kinds::FromZero, true, 500, 560, 8, 60, 7},
      {"counted again from the start", kinds::Counter, true, 500, 20, 8, Null, Null},
      {"no count before", kinds::Counter, true, Null, 20, 8, Null, Null},
      {"no count now", kinds::Counter, true, 20, Null, 8, Null, Null},
      {"within one second", kinds::Counter, true, 500, 560, 0, 60, Null},
      {"truncated", kinds::FromZero, true, 0, 59, 60, 59, 0},
      {"a difference that wraps below zero", kinds::Counter, true, Smallest, Largest, 1, Null, Null},
      {"a product that wraps", kinds::Counter, true, 0, Largest, 1, Largest, -1000},
  };
  for (const auto& c : cases) {
    Sample previous(kinds::cumulative, 1000), sample(kinds::cumulative, 1000 + c.seconds);
    previous.with(c.key, c.before);
    sample.with(c.key, c.now).calculateRates(c.hasPrevious ? &previous : nullptr);
    EXPECT_EQ(sample.getNumericData(c.key), c.delta) << c.what;
    EXPECT_EQ(sample.getRate(c.key), c.rate) << c.what;
    EXPECT_EQ(sample.getTotalCount(c.key), c.now) << c.what;
    EXPECT_EQ(sample.getDuration(), c.hasPrevious ? c.seconds : 0) << c.what;
  }
}

/// The times of two samples as a peer told them, and what the second told of its duration.
TEST(SampleRates, TimesThatDoNotGoForwardAreNotReckonedWith) {
  struct {
    const char* what;
    unsigned int before, now;
    long long told;
    unsigned int duration;
    long long rate;
  } const cases[] = {
      {"forward", 1000, 1060, 30, 60, 1000},
      {"set back", 1000, 400, 30, 30, 2000},
      {"set back, no duration told", 1000, 400, 0, 0, Null},
      {"the same", 1000, 1000, 60, 60, 1000},
      {"forward past half of the range", 1, 4'000'000'000, 60, 3'999'999'999, 0},
      {"back past half of the range", 4'000'000'000, 1, 60, 60, 1000},
  };
  for (const auto& c : cases) {
    Sample previous(kinds::cumulative, c.before), sample(kinds::cumulative, c.now);
    previous.with(kinds::Counter, 0);
    sample.with(kinds::Counter, 60).with(zov::key::duration, c.told);
    sample.calculateRates(&previous);
    EXPECT_EQ(sample.getDuration(), c.duration) << c.what;
    EXPECT_EQ(sample.getNumericData(kinds::Counter), 60) << c.what;
    EXPECT_EQ(sample.getRate(kinds::Counter), c.rate) << c.what;
  }
}

TEST(SampleRates, BetweenSamplesOfTheAgentsOwnOnlySteadyTimeCounts) {
  for (const int setBy : {0, 100'000, -100'000}) {
    StepClock clock;
    ZOVServletSample previous, sample;
    previous.buildFromSampleString("numErrors=0");
    StepClock::step(60);
    StepClock::setWallBy(setBy);
    sample.buildFromSampleString("numErrors=120");
    const std::unique_ptr<ZOVSample> history(sample.clone());
    for (ZOVSample* const each : {static_cast<ZOVSample*>(&sample), history.get()}) {
      each->calculateRates(&previous);
      EXPECT_EQ(each->getDuration(), 60U) << setBy;
      EXPECT_EQ(each->getRate(zov::key::web_errors), 2000) << setBy;
    }
  }
}

TEST(SampleRates, PercentIsAShareOfTheRelatedKeysDifference) {
  Sample previous(kinds::cumulative, 1000), sample(kinds::cumulative, 1010);
  previous.with(kinds::Counter, 100).with(kinds::Percent, 10);
  sample.with(kinds::Counter, 180).with(kinds::Percent, 30).calculateRates(&previous);
  EXPECT_EQ(sample.getNumericData(kinds::Percent), 20);
  EXPECT_EQ(sample.getPercent(kinds::Percent), 250);

  Sample first(kinds::cumulative), least(kinds::cumulative);
  first.with(kinds::Percent, 30).calculateRates(nullptr);
  EXPECT_EQ(first.getNumericData(kinds::Percent), 30) << "counted from zero without a sample before";
  EXPECT_EQ(first.getPercent(kinds::Percent), -30000) << "over a denominator that is null";
  least.with(kinds::Percent, Smallest).calculateRates(nullptr);
  EXPECT_EQ(least.getPercent(kinds::Percent), Null);
}

TEST(SampleRates, Statistics) {
  const double infinite = std::numeric_limits<double>::infinity();
  const double notANumber = std::numeric_limits<double>::quiet_NaN();
  struct {
    const char* what;
    const zov::SampleClass& sampleClass;
    bool hasPrevious;
    double totalBefore, countBefore, total, count;
    long long average;
  } const cases[] = {
      {"first cumulative", kinds::cumulative, false, 0, 0, 10, 4, Null},
      {"first interval", kinds::interval, false, 0, 0, 10, 4, 2500},
      {"against the sample before", kinds::cumulative, true, 10, 4, 25, 10, 2500},
      {"an interval has no before", kinds::interval, true, 10, 4, 25, 10, 2500},
      {"nothing observed", kinds::cumulative, true, 10, 4, 10, 4, Null},
      {"nothing observed in an interval", kinds::interval, false, 0, 0, 10, 0, 0},
      {"a total that fell", kinds::cumulative, true, 10, 4, 9, 5, Null},
      {"truncated towards zero", kinds::cumulative, true, 0, 0, 2, 3, 666},
      {"a part of an observation", kinds::cumulative, true, 0, 4.9, 10, 5.1, 10000},
      {"more than fits", kinds::interval, false, 0, 0, infinite, 1, Largest},
      {"no number", kinds::interval, false, 0, 0, notANumber, 1, 0},
      {"a count that is no number", kinds::interval, false, 0, 0, 10, notANumber, 0},
      {"a count out of range", kinds::interval, false, 0, 0, 10, 1e300, 0},
  };
  for (const auto& c : cases) {
    Sample previous(c.sampleClass), sample(c.sampleClass);
    previous.withStatistic(kinds::StatInfo, c.totalBefore, c.countBefore);
    sample.withStatistic(kinds::StatInfo, c.total, c.count)
        .calculateRates(c.hasPrevious ? &previous : nullptr);
    EXPECT_EQ(sample.getNumericData(kinds::StatInfo), c.average) << c.what;
  }
}

TEST(SampleRates, AnIntervalSampleIsItsOwnDifference) {
  Sample previous(kinds::interval, 1000), sample(kinds::interval, 5000);
  previous.with(kinds::Counter, 1'000'000);
  sample.with(kinds::Counter, 120).with(kinds::FromZero, 120).with(zov::key::duration, 60);
  sample.calculateRates(&previous);
  EXPECT_EQ(sample.getDuration(), 60U);
  EXPECT_EQ(sample.getRate(kinds::Counter), 2000);
  EXPECT_EQ(sample.getRate(kinds::FromZero), 2);
  EXPECT_EQ(sample.getNumericData(kinds::Counter), 120);
}

TEST(SampleRates, ASampleIsRatedOnceUntilItIsReset) {
  Sample before(kinds::cumulative, 1000), longBefore(kinds::cumulative, 900), sample(kinds::cumulative, 1010);
  before.with(kinds::Counter, 100);
  longBefore.with(kinds::Counter, 0);
  sample.with(kinds::Counter, 150).with(zov::key::duration, 7).resetRates();
  EXPECT_EQ(sample.getDuration(), 7U) << "nothing to reset yet";
  sample.calculateRates(&before);
  sample.calculateRates(&longBefore);
  Sample copy(sample);
  copy.resetRates();
  EXPECT_EQ(copy.getNumericData(kinds::Counter), Null);
  copy.calculateRates(&longBefore);
  EXPECT_EQ(copy.getNumericData(kinds::Counter), 150);
  EXPECT_EQ(copy.getDuration(), 110U);
  EXPECT_EQ(sample.getNumericData(kinds::Counter), 50) << "the copy has values of its own";
}

TEST(SampleRates, ReadersThatMeetRateOnce) {
  for (int round = 0; round < 200; ++round) {
    Sample sample(kinds::interval);
    sample.with(kinds::Counter, 120).with(kinds::Percent, 60).with(zov::key::duration, 60);
    const auto read = [&sample] {
      sample.calculateRates(nullptr);
      EXPECT_EQ(sample.getRate(kinds::Counter), 2000);
      EXPECT_EQ(sample.getPercent(kinds::Percent), 500);
    };
    std::thread one(read), two(read);
    read();
    one.join();
    two.join();
  }
}

TEST(SampleMerge, EachKindSumsInItsWay) {
  struct {
    int key;
    long long mine, theirs, merged;
  } const cases[] = {
      {kinds::Numeric, 5, 3, 3},          {kinds::Numeric, Null, 3, 3},
      {kinds::Numeric, 5, Null, 5},       {kinds::Counter, 5, 3, 8},
      {kinds::Counter, Null, 3, 3},       {kinds::Counter, 5, Null, 5},
      {kinds::FromZero, 5, 3, 8},         {kinds::Percent, 5, 3, 8},
      {kinds::Maximum, 5, 3, 5},          {kinds::Counter, Largest, 1, Smallest},
      {kinds::Maximum, 3, 5, 5},          {kinds::Maximum, Null, -7, -7},
      {kinds::Maximum, 5, Null, 5},       {kinds::Minimum, 5, 3, 3},
      {kinds::Minimum, 3, 5, 3},          {kinds::Minimum, Null, 9, 9},
      {kinds::Minimum, Null, Null, Null},
  };
  for (const auto& c : cases) {
    Sample mine(kinds::cumulative), theirs(kinds::cumulative);
    mine.with(c.key, c.mine);
    mine.mergeSampleData(&theirs.with(c.key, c.theirs));
    EXPECT_EQ(mine.getTotalCount(c.key), c.merged) << c.key << ' ' << c.mine << ' ' << c.theirs;
  }
}

TEST(SampleMerge, HistoryMovesTheTimeAndSumsTheDurations) {
  Sample history(kinds::interval, 1000), next(kinds::interval, 1060);
  history.with(kinds::Counter, 10).with(zov::key::duration, 60);
  history.mergeIntoHistoricalSample(&next.with(kinds::Counter, 20).with(zov::key::duration, 65));
  EXPECT_EQ(history.getSampleTime(), 1060U);
  EXPECT_EQ(history.getDuration(), 125U);
  EXPECT_EQ(history.getTotalCount(kinds::Counter), 30);
}

}  // namespace
