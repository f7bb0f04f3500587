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

std::string frameOf(const ZOVSample& sample) {
  ZOVBuffer buffer;
  sample.stream(buffer);
  return buffer.str();
}

std::unique_ptr<ZOVSample> sampleOf(const std::string& frame) {
  ZOVBuffer buffer{RWCString(frame)};
  return std::unique_ptr<ZOVSample>(
      static_cast<ZOVSample*>(ZOVTransportableData::buildFromBuffer(buffer).release()));
}

/// Fills every key of the class as a collector would.
std::unique_ptr<ZOVSample> filled(ZOVSample::_SampleType type) {
  std::unique_ptr<ZOVSample> sample(ZOVSample::buildFromType(type));
  sample->saveNumericData(20, 1'600'000'000);
  sample->saveNumericData(21, 60);
  for (int key : sample->sampleClass().numericKeys) sample->saveNumericData(key, 1000LL + key);
  for (const zov::StringKey& string : sample->sampleClass().strings) {
    sample->saveStringData(string.key, "text \xc3\xa4 of key " + std::to_string(string.key));
  }
  return sample;
}

TEST(SampleCatalogue, EveryClassTravels) {
  for (ZOVSample::_SampleType type : catalogue) {
    const std::unique_ptr<ZOVSample> sent = filled(type);
    const std::string frame = frameOf(*sent);
    const std::unique_ptr<ZOVSample> received = sampleOf(frame);
    ASSERT_TRUE(received) << type;
    EXPECT_EQ(received->getSampleType(), type);
    EXPECT_EQ(received->isIntervalSample(), sent->isIntervalSample());
    std::vector<int> keys(static_cast<std::size_t>(received->getNumNumericKeys()));
    received->numericKeys(keys.data());
    for (int key : keys) {
      const auto streamed = static_cast<unsigned int>(key);
      EXPECT_EQ(received->getNumericValueForStream(streamed), sent->getNumericValueForStream(streamed))
          << key;
    }
    for (const zov::StringKey& string : received->sampleClass().strings) {
      EXPECT_EQ(received->getStringData(string.key), sent->getStringData(string.key)) << string.key;
    }
    const std::unique_ptr<ZOVSample> copy(received->clone());
    EXPECT_EQ(copy->sampleClass().name, received->sampleClass().name);
    EXPECT_EQ(frameOf(*copy), frameOf(*received)) << type;
  }
}

TEST(SampleCatalogue, TypesWithoutAClass) {
  for (int type : {-1, 0, 6, 10, 60, 82, 997, 999, 0x7fffffff}) {
    EXPECT_EQ(ZOVSample::buildFromType(static_cast<ZOVSample::_SampleType>(type)), nullptr) << type;
  }
}

/// Whatever a peer sends, and in whatever order it is used: no undefined behaviour.
TEST(SampleCatalogue, HostileValuesAreHarmless) {
  std::mt19937_64 random(7);
  const long long odd[] = {0, 1, -1, -2, INT64_MAX, INT64_MIN, INT64_MIN + 1, 1LL << 32, 999'999'999'999};
  const double oddDouble[] = {0, -1, 1e308, -1e308, 1e-308, HUGE_VAL, -HUGE_VAL, std::nan(""), 9.3e18};
  for (ZOVSample::_SampleType type : catalogue) {
    std::unique_ptr<ZOVSample> samples[3];
    for (auto& sample : samples) {
      sample.reset(ZOVSample::buildFromType(type));
      for (int i = 0; i < 300; ++i) {
        const auto& keys = sample->sampleClass().numericKeys;
        const int key = random() % 4 ? keys[random() % keys.size()] : static_cast<int>(random());
        sample->saveNumericData(
            key, random() % 2 ? odd[random() % std::size(odd)] : static_cast<long long>(random()));
        sample->saveStatInfoData(key, oddDouble[random() % std::size(oddDouble)],
                                 oddDouble[random() % std::size(oddDouble)]);
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
    EXPECT_TRUE(sampleOf(frameOf(*samples[2])));
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
    for (const auto& [key, value] : c.saved) EXPECT_EQ(sample.getTotalCount(key), -1) << key;
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
  ZOVEJBSample sample;
  sample.buildFromDataString("concurrentLives=8/4\nstatefulBeansActive=6/3\npoolSize=1/1");
  EXPECT_EQ(sample.getTotalForStatinfo(210), 8);
  EXPECT_EQ(sample.getTotalForStatinfo(209), 6);
  EXPECT_EQ(sample.getTotalForStatinfo(128), 1);
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
  struct {
    long long collections, merged;
  } const cases[] = {{0, 5}, {1, 9}, {-1, 9}};
  for (const auto& c : cases) {
    ZOVGarbageCollectionSample sample;
    ZOVGarbageCollectionSample part;
    for (int key : {354, 355, 353}) sample.saveNumericData(key, 5), part.saveNumericData(key, 9);
    part.saveNumericData(352, c.collections);
    sample.mergeSampleData(&part);
    EXPECT_EQ(sample.getTotalCount(354), c.merged) << c.collections;
    EXPECT_EQ(sample.getTotalCount(355), c.merged) << c.collections;
    EXPECT_EQ(sample.getTotalCount(353), 9);
  }
}

TEST(WorkloadSample, TheMeanIsUnknownWhenTheTimeOfSomeRequestsIs) {
  struct Part {
    long long count, time;
  };
  const struct {
    const char* what;
    std::vector<Part> parts;
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
    for (const Part& one : test.parts) {
      ZOVWorkloadSumSample part;
      part.saveNumericData(703, one.count);
      part.saveNumericData(704, one.time);
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
  const struct {
    const char* what;
    Part early, late;
  } cases[] = {
      {"the later has less", {200, 9, 9, "early"}, {100, 5, 5, "late"}},
      {"the later has more", {200, 5, 5, "early"}, {100, 9, 9, "late"}},
      {"the later tells little", {200, 9, 9, "early"}, {100, -1, -1, ""}},
      {"the earlier tells no order", {-1, 9, 9, "early"}, {100, 5, 5, "late"}},
  };
  const auto fill = [&](ZOVHTTPSample& sample, const Part& part) {
    sample.saveNumericData(770, part.order);
    for (const int key : own) sample.saveNumericData(key, part.own);
    for (const int key : greatest) sample.saveNumericData(key, part.greatest);
    for (const int key : texts) sample.saveStringData(key, part.text);
    sample.sessionName = "session";
  };
  for (const auto& test : cases) {
    for (const bool earlierArrives : {true, false}) {
      SCOPED_TRACE(test.what);
      ZOVHTTPSample early, late;
      fill(early, test.early);
      fill(late, test.late);
      ZOVHTTPSample& merged = earlierArrives ? late : early;
      merged.calculateRates(nullptr);  // what has come first may have been read by now
      merged.mergeSampleData(earlierArrives ? &early : &late);
      EXPECT_EQ(merged.getTotalCount(770), test.late.order);
      for (const int key : own) EXPECT_EQ(merged.getTotalCount(key), test.late.own) << key;
      for (const int key : greatest)
        EXPECT_EQ(merged.getTotalCount(key), std::max(test.early.greatest, test.late.greatest)) << key;
      for (const int key : texts) EXPECT_EQ(merged.getStringData(key), test.late.text) << key;
      EXPECT_EQ(merged.sessionName, "session");
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

TEST(RequestSummary, SumsTheRequestsOfAPoll) {
  struct Keeper : ZOVSampleKeeper {
    void saveSample(ZOVSample* sample, _SaveSampleType type, unsigned int id) override {
      EXPECT_EQ(type, SaveSampleInterval);
      EXPECT_EQ(id, 77U);
      kept.emplace_back(sample);
    }
    std::vector<std::unique_ptr<ZOVSample>> kept;
  } keeper;

  RWOrdered anchors;
  for (int i = 1; i <= 3; ++i) {
    ZOVWorkloadSumSample sum;
    sum.requestName = RWCString(std::to_string(i));
    for (const auto& [key, value] :
         {std::pair{20, 5000 + i}, {21, 60 * i}, {314, 100}, {703, 10 * i}, {704, 400}}) {
      sum.saveNumericData(key, value);
    }
    ASSERT_TRUE(sum.shouldCreateSummarySamples());
    sum.createSummarizedSamples(anchors);
  }
  ASSERT_EQ(anchors.entries(), 1U);
  RWOrderedIterator iterator(anchors);
  saveSummarizedSamples(keeper, iterator, 77);
  anchors.clearAndDestroy();

  ASSERT_EQ(keeper.kept.size(), 1U);
  ZOVSample& summary = *keeper.kept[0];
  EXPECT_EQ(summary.getSampleType(), ZOVSample::SampleTypeServerRequestSummary);
  EXPECT_EQ(summary.getDuration(), 60U) << "that of the first";
  EXPECT_EQ(summary.getTotalCount(703), 60);
  EXPECT_EQ(summary.getTotalCount(704), 1200);
  EXPECT_FALSE(summary.isRated());
  summary.calculateRates(nullptr);
  EXPECT_EQ(summary.getRate(703), 1000) << "one a second, scale 3";
  EXPECT_EQ(summary.getPercent(704), 20) << "mean time";
}

TEST(SampleTime, FillsTheFrameworksForm) {
  ZOVServletSample sample;
  for (const auto& [key, value] : {std::pair{20, 1'500'000'000}, {21, 77}})
    sample.saveNumericData(key, value);
  char out[17] = "################";
  long duration = 0;
  sample.copySampleTimeAndDuration(out, &duration);
  EXPECT_EQ(duration, 77);
  EXPECT_TRUE(std::string(out).starts_with("117") && std::string(out).ends_with("000")) << out;
  sample.saveNumericData(20, 0);
  sample.copySampleTimeAndDuration(out, &duration);
  EXPECT_EQ(std::string(out), std::string(16, ' '));
}

}  // namespace
