#include "samples/sample_classes.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "foundation/collections.h"
#include "samples/anchors.h"
#include "transport/buffer.h"

namespace {

const ZOVSample::_SampleType catalogue[] = {
#define SAMPLE(value, name, sampleClass, english, source, counting) ZOVSample::SampleType##name,
#define UNSENT_SAMPLE(value, name, sampleClass, english, source, counting)
#include "samples/sample_classes.def"
};

TEST(SampleCatalogue, HostileValuesAreHarmless) {
  std::mt19937_64 random(7);
  const long long odd[] = {0, 1, -1, -2, INT64_MAX, INT64_MIN, INT64_MIN + 1, 1LL << 32, 999'999'999'999};
  const double oddDouble[] = {0, -1, 1e308, -1e308, 1e-308, HUGE_VAL, -HUGE_VAL, std::nan(""), 9.3e18};
  const auto oneOf = [&](const auto& values) { return values[random() % std::size(values)]; };
  for (ZOVSample::_SampleType type : catalogue) {
    std::unique_ptr<ZOVSample> samples[3];
    for (auto& sample : samples) {
      sample.reset(ZOVSample::buildFromType(type));
      for (int i = 0; i < 300; ++i) {
        const int key = random() % 4 ? oneOf(sample->sampleClass().numericKeys) : static_cast<int>(random());
        sample->saveNumericData(key, random() % 2 ? oneOf(odd) : static_cast<long long>(random()));
        sample->saveStatInfoData(key, oneOf(oddDouble), oneOf(oddDouble));
        sample->saveStringData(static_cast<int>(random() % KeyTableSize), "x");
      }
    }
    samples[1]->calculateRates(samples[0].get());
    samples[1]->mergeSampleData(samples[2].get());
    samples[1]->mergeNumericData(samples[2].get(), static_cast<int>(random()), nullptr);
    samples[1]->resetRates();
    samples[1]->calculateRates(samples[2].get());
    samples[2]->mergeIntoHistoricalSample(samples[1].get());
    const std::unique_ptr<ZOVResourceAnchor> anchor(samples[2]->getResourceAnchor());
    if (anchor) {
      EXPECT_TRUE(anchor->isEqual(std::unique_ptr<ZOVResourceAnchor>(anchor->clone()).get()));
    }
    ZOVBuffer sent;
    samples[2]->stream(sent);
    ZOVBuffer received{RWCString(sent.str())};
    const auto again = ZOVTransportableData::buildFromBuffer(received);
    ASSERT_TRUE(again) << type;
    ZOVBuffer sentAgain;
    again->stream(sentAgain);
    EXPECT_EQ(sentAgain.str(), sent.str()) << type;
  }
  for (int type : {-1, 0, 6, 999, 0x7fffffff}) {
    EXPECT_EQ(ZOVSample::buildFromType(static_cast<ZOVSample::_SampleType>(type)), nullptr) << type;
  }
}

TEST(ContainerSample, FoldsTheKindsOfBeans) {
  struct {
    std::vector<std::pair<int, long long>> saved;
    int rollUp;
    long long sum;
  } const cases[] = {
      {{{159, 4}, {170, 3}}, 174, 7},           {{{160, 1}, {171, 2}}, 175, 3},
      {{{161, 1}, {172, 2}}, 176, 3},           {{{162, 1}, {173, 2}}, 177, 3},
      {{{157, 1}, {168, 2}, {152, 4}}, 178, 7}, {{{158, 1}, {169, 2}, {153, 4}}, 179, 7},
      {{{159, -1}, {170, 3}}, 174, 3},          {{{159, -1}}, 174, -1},
  };
  for (const auto& c : cases) {
    ZOVContainerSample sample;
    for (const auto& [key, value] : c.saved) sample.saveNumericData(key, value);
    EXPECT_EQ(sample.getTotalCount(c.rollUp), c.sum);
    EXPECT_EQ(sample.getTotalCount(c.saved[0].first), -1) << c.saved[0].first;
  }
  ZOVContainerSample loads;
  for (const auto& [key, count] : {std::pair{154, 10}, {165, 5}}) loads.saveStatInfoData(key, count, 1);
  EXPECT_EQ(loads.getTotalForStatinfo(181), 15);
  EXPECT_EQ(loads.getTotalForStatinfo(154), 10) << "a load is kept itself, too";
}

TEST(EJBSample, KeepsTheLoadsOfAllKindsInOnePlace) {
  for (const auto& [key, into] : {std::pair{150, 210}, {154, 210}, {165, 210}, {155, 209}, {166, 209}}) {
    ZOVEJBSample sample;
    sample.saveStatInfoData(key, 10, 2);
    EXPECT_EQ(sample.getTotalForStatinfo(into), 10) << key;
  }
}

TEST(DBConnectPoolSample, NobodyWaitedIsAMeanOfZero) {
  const auto rated = [](double heldCount) {
    ZOVDBConnectPoolSample previous;
    ZOVDBConnectPoolSample sample;
    for (int key : {246, 247}) previous.saveStatInfoData(key, 10, 2), sample.saveStatInfoData(key, 10, 2);
    sample.saveStatInfoData(247, 20, heldCount);
    sample.calculateRates(&previous);
    return sample.getNumericData(246);
  };
  EXPECT_EQ(rated(4), 0);
  EXPECT_EQ(rated(2), -1) << "nor was the pool used";
}

TEST(GarbageCollectionSample, FiguresComeOnlyFromPartsWithCollections) {
  for (const auto& [collections, merged] : {std::pair{0, 5}, {1, 9}, {-1, 9}}) {
    ZOVGarbageCollectionSample sample, part;
    for (int key : {354, 355, 353}) sample.saveNumericData(key, 5), part.saveNumericData(key, 9);
    part.saveNumericData(352, collections);
    sample.mergeSampleData(&part);
    EXPECT_EQ(sample.getTotalCount(354), merged) << collections;
    EXPECT_EQ(sample.getTotalCount(355), merged) << collections;
    EXPECT_EQ(sample.getTotalCount(353), 9);
  }
}

TEST(WorkloadSample, TheMeanIsUnknownWhenTheTimeOfSomeRequestsIs) {
  const struct {
    const char* what;
    std::vector<std::pair<long long, long long>> parts;  // count and time
    long long time, mean;
  } cases[] = {
      {"all tell it", {{2, 10}, {3, 40}}, 50, 10},
      {"only the later does", {{2, -1}, {3, 40}}, -1, -1},
      {"only the earlier does", {{2, 10}, {3, -1}}, -1, -1},
      {"one of three does not", {{2, -1}, {3, 40}, {5, 50}}, -1, -1},
      {"there were no requests that have none", {{0, -1}, {3, 30}, {-1, -1}}, 30, 10},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.what);
    ZOVWorkloadSumSample merged, history;  // the one takes parts, the other intervals
    for (const auto& [count, time] : test.parts) {
      ZOVWorkloadSumSample part;
      part.saveNumericData(703, count);
      part.saveNumericData(704, time);
      merged.mergeSampleData(&part);
      history.mergeIntoHistoricalSample(&part);
    }
    for (ZOVWorkloadSumSample* const sample : {&merged, &history}) {
      sample->calculateRates(nullptr);
      EXPECT_EQ(sample->getTotalCount(704), test.time);
      EXPECT_EQ(sample->getPercent(704), test.mean);
    }
  }
}

TEST(HTTPSample, PartsMergeByWhatTheyToldInEitherOrder) {
  constexpr int own[] = {4, 700, 314}, greatest[] = {773, 775, 776, 778, 779};
  constexpr int texts[] = {701, 702, 771, 772, 777};
  struct Part {
    long long order, own, greatest;
    const char* text;
  };
  const std::pair<Part, Part> cases[] = {
      // told early, and late
      {{200, 9, 9, "early"}, {100, 5, 5, "late"}},
      {{200, 5, 5, "early"}, {100, 9, 9, "late"}},
      {{200, 9, 9, "early"}, {100, -1, -1, ""}},
      {{-1, 9, 9, "early"}, {100, 5, 5, "late"}},
  };
  const auto fill = [&](ZOVHTTPSample& sample, const Part& part) {
    sample.saveNumericData(770, part.order);
    for (const int key : own) sample.saveNumericData(key, part.own);
    for (const int key : greatest) sample.saveNumericData(key, part.greatest);
    for (const int key : texts) sample.saveStringData(key, part.text);
  };
  for (const auto& test : cases) {
    for (const bool earlierArrives : {true, false}) {
      SCOPED_TRACE(std::to_string(&test - cases) + (earlierArrives ? " early" : " late"));
      ZOVHTTPSample early, late;
      fill(early, test.first);
      fill(late, test.second);
      ZOVHTTPSample& merged = earlierArrives ? late : early;
      merged.calculateRates(nullptr);  // what has come first may have been read by now
      merged.mergeSampleData(earlierArrives ? &early : &late);
      EXPECT_EQ(merged.getTotalCount(770), test.second.order);
      for (const int key : own) EXPECT_EQ(merged.getTotalCount(key), test.second.own) << key;
      for (const int key : greatest)
        EXPECT_EQ(merged.getTotalCount(key), std::max(test.first.greatest, test.second.greatest)) << key;
      for (const int key : texts) EXPECT_EQ(merged.getStringData(key), test.second.text) << key;
    }
  }
}

TEST(WorkloadDetailSample, DerivesTheCategoryOfADelay) {
  struct {
    long long told, delay, category;
  } const cases[] = {{-1, 2, 0},  {-1, 3, 1},  {-2, 6, 1},  {-1, 7, 2}, {-1, 10, 2},
                     {-2, 11, 3}, {-1, 12, 0}, {-1, -1, 0}, {5, 3, 5},  {0, 3, 0}};
  for (const auto& c : cases) {
    ZOVWorkloadDetailSample sample;
    sample.saveNumericData(763, c.told);
    sample.saveNumericData(750, c.delay);
    const std::unique_ptr<ZOVResourceAnchor> anchor(sample.getResourceAnchor());
    EXPECT_EQ(static_cast<ZOVWorkloadDetailAnchor*>(anchor.get())->delayCategory, c.category) << c.delay;
    EXPECT_EQ(sample.getNumericData(763), c.category) << c.delay;
  }
}

}  // namespace
