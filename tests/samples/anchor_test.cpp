#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <vector>

#include "samples/anchors.h"

namespace {

using Owned = std::unique_ptr<ZOVResourceAnchor>;

template <class Anchor, class... Arguments>
Owned an(const Arguments&... arguments) {
  return std::make_unique<Anchor>(arguments...);
}

unsigned int word(const char (&text)[5]) {
  return static_cast<unsigned char>(text[0]) | static_cast<unsigned int>(text[1]) << 8 |
         static_cast<unsigned int>(text[2]) << 16 | static_cast<unsigned int>(text[3]) << 24;
}

TEST(AnchorHash, ReadsTheEndsOfAText) {
  struct {
    const char* text;
    unsigned int key;
  } const cases[] = {{"", 0},
                     {"abc", 'a' | 'b' << 8 | 'c' << 16},
                     {"abcde", word("abcd") ^ word("bcde")},
                     {"abcdXXXXefgh", word("abcd") ^ word("efgh")},
                     {"\xff", 0xff}};
  for (const auto& c : cases) EXPECT_EQ(ZOVResourceAnchor::createHashKey(c.text), c.key) << c.text;
}

/// Each of these differs from the first in one thing only.
TEST(AnchorEquality, TakesAllOfTheIdentity) {
  std::vector<Owned> anchors;
  anchors.push_back(an<ZOVServletAnchor>("app", "host", "servlet", "jsp", 0));
  anchors.push_back(an<ZOVServletAnchor>("app2", "host", "servlet", "jsp", 0));
  anchors.push_back(an<ZOVServletAnchor>("app", "host2", "servlet", "jsp", 0));
  anchors.push_back(an<ZOVServletAnchor>("app", "host", "servlet2", "jsp", 0));
  anchors.push_back(an<ZOVServletAnchor>("app", "host", "servlet", "jsp2", 0));
  anchors.push_back(an<ZOVServletAnchor>("app", "host", "servlet", "jsp", 1));
  anchors.push_back(an<ZOVServletAnchor>("app", "host", "", "", -1));
  anchors.push_back(an<ZOVApplicationAnchor>("app", "host"));
  anchors.push_back(an<ZOVServletAnchor>("app", "host", "servlet", "jsp", 0));
  anchors.back()->setSampleType(ZOVSample::SampleTypeNone);
  for (std::size_t i = 0; i < anchors.size(); ++i) {
    for (std::size_t j = 0; j < anchors.size(); ++j) {
      EXPECT_EQ(anchors[i]->isEqual(anchors[j].get()), i == j) << i << ' ' << j;
      if (i == j) continue;
      EXPECT_NE(anchors[i]->lookupHash(), anchors[j]->lookupHash()) << i << ' ' << j;
    }
    const Owned copy(anchors[i]->clone());
    EXPECT_TRUE(anchors[i]->isEqual(copy.get()));
    EXPECT_EQ(anchors[i]->lookupHash(), copy->lookupHash());
    EXPECT_FALSE(anchors[i]->isEqual(nullptr));
  }
}

/// In each case the filter describes, or not, what the anchor is.
TEST(AnchorMatching, EveryClassFollowsItsRules) {
  const auto open = [](Owned anchor) {
    anchor->setSampleType(ZOVSample::SampleTypeNone);
    return anchor;
  };
  struct {
    const char* what;
    Owned anchor, filter;
    bool matches, specific;
  } cases[] = {
      {"name", an<ZOVAppServerAnchor>("a"), an<ZOVAppServerAnchor>("a"), true, true},
      {"other name", an<ZOVAppServerAnchor>("a"), an<ZOVAppServerAnchor>("b"), false, true},
      {"empty name", an<ZOVAppServerAnchor>("a"), an<ZOVAppServerAnchor>(), true, false},
      {"open type where it counts", an<ZOVAppServerAnchor>("a"), open(an<ZOVAppServerAnchor>("a")), false,
       true},
      {"open type", an<ZOVContainerAnchor>("a", 1), open(an<ZOVContainerAnchor>()), true, false},
      {"other class", an<ZOVObjectPoolAnchor>("a", 1), open(an<ZOVContainerAnchor>()), false, false},
      {"summary", an<ZOVThreadPoolAnchor>("a", 1), an<ZOVThreadPoolAnchor>("a", 0), false, true},
      {"any summary", an<ZOVThreadPoolAnchor>("a", 1), an<ZOVThreadPoolAnchor>("a"), true, false},
      {"EJB", an<ZOVEJBAnchor>("c", "e"), an<ZOVEJBAnchor>("c"), true, false},
      {"EJB elsewhere", an<ZOVEJBAnchor>("c", "e"), an<ZOVEJBAnchor>("d", "e"), false, true},
      {"application", an<ZOVApplicationAnchor>("a", "h", 1), an<ZOVApplicationAnchor>("a", "h", 1), true,
       true},
      {"servlet", an<ZOVServletAnchor>("a", "h", "s", "j", 1), an<ZOVServletAnchor>("a", "", "s"), true,
       false},
      {"servlet, all given", an<ZOVServletAnchor>("a", "h", "s", "j", 1),
       an<ZOVServletAnchor>("a", "h", "s", "j", 1), true, false},
      {"other kind of servlet", an<ZOVServletAnchor>("a", "h", "s", "j", 1),
       an<ZOVServletAnchor>("", "", "", "", 0), false, false},
      {"collector", an<ZOVGCAnchor>(7), an<ZOVGCAnchor>(7), true, false},
      {"other collector", an<ZOVGCAnchor>(7), an<ZOVGCAnchor>(8), false, false},
      {"failure", an<ZOVAFDetailAnchor>(7, 3), an<ZOVAFDetailAnchor>(0, 3), true, false},
      {"cycle", an<ZOVGCDetailAnchor>(7, 3, 5), an<ZOVGCDetailAnchor>(7, 0, 6), false, false},
      {"request of any collector", an<ZOVWorkloadSumAnchor>(7, 1, "a", "r"),
       an<ZOVWorkloadSumAnchor>(8, 0, "a"), true, false},
      {"request of another type", an<ZOVWorkloadSumAnchor>(7, 1, "a", "r"),
       an<ZOVWorkloadSumAnchor>(7, 2, "a", "r"), false, false},
      {"delay", an<ZOVWorkloadDetailAnchor>(7, 1, "a", "r", 3, "x", "y", 1),
       an<ZOVWorkloadDetailAnchor>(0, 0, "", "", 3, "x", "", 1), true, false},
      {"delay of another category", an<ZOVWorkloadDetailAnchor>(7, 1, "a", "r", 3, "x", "y", 1),
       an<ZOVWorkloadDetailAnchor>(0, 0, "", "", 3, "x", "", 2), false, false},
      {"data source of any collector", an<ZOVDataSourceAnchor>(7, "d"), an<ZOVDataSourceAnchor>(8, "d"), true,
       false},
      {"queue", an<ZOVXQAccessAnchor>(7, "c", "q"), an<ZOVXQAccessAnchor>(7, "", "p"), false, false},
      {"session", an<ZOVHTTPAnchor>("a", "s"), an<ZOVHTTPAnchor>("a", "s"), true, true},
      {"overview of another server", an<ZOVAppSrvOverviewAnchor>(7, "n", "s"),
       an<ZOVAppSrvOverviewAnchor>(8, "n", "s"), false, false},
      {"property of any server", an<ZOVTSLJavaPropertyAnchor>(7, "p"), an<ZOVTSLJavaPropertyAnchor>(8, "p"),
       true, true},
      {"method", an<ZOVMethodAnchor>(7, 3, "m", "C", "()V"), an<ZOVMethodAnchor>(7, 0, "", "C", ""), true,
       false},
      {"method summary of the names", an<ZOVMethodAnchor>(7, "m", "C", "()V"),
       an<ZOVMethodAnchor>(0, "m", "C", "()V"), true, false},
      {"method summary has no open names", an<ZOVMethodAnchor>(7, "m", "C", "()V"),
       an<ZOVMethodAnchor>(0, "", "C", "()V"), false, false},
      {"contention", an<ZOVContentionAnchor>(7, 3, "m", "C", "()V", "lock"),
       an<ZOVContentionAnchor>(0, 0, "", "", "", "other"), false, false},
      {"mail", an<ZOVBSMailAnchor>(), an<ZOVBSMailAnchor>(), true, false},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.anchor->doesItMatch(c.filter.get()), c.matches) << c.what;
    EXPECT_EQ(c.filter->isSpecific(), c.specific) << c.what;
    EXPECT_FALSE(c.anchor->doesItMatch(nullptr)) << c.what;
  }
  EXPECT_TRUE(ZOVEJBMethodAnchor("c", "e", "m").isSpecific());
  EXPECT_FALSE(ZOVEJBMethodAnchor("c", "e").isSpecific());
  EXPECT_TRUE(ZOVMethodSummaryAnchor("m", "C", "()V").isSpecific());
}

/// Each class of samples leads to an anchor of its own type, equal for equal samples.
TEST(AnchorOfSample, IdentifiesTheResource) {
  const std::set<int> without = {ZOVSample::SampleTypeStringAbbreviation, ZOVSample::SampleTypePSI,
                                 ZOVSample::SampleTypeEnd};
  for (const int type : {
#define SAMPLE(value, name, sampleClass, english, source, counting) value,
#define UNSENT_SAMPLE(value, name, sampleClass, english, source, counting)
#include "samples/sample_classes.def"
       }) {
    const std::unique_ptr<ZOVSample> sample(
        ZOVSample::buildFromType(static_cast<ZOVSample::_SampleType>(type)));
    for (const zov::StringKey& s : sample->sampleClass().strings)
      sample->saveStringData(s.key, std::to_string(s.key));
    for (int key : sample->sampleClass().numericKeys) sample->saveNumericData(key, key);
    const Owned anchor(sample->getResourceAnchor());
    ASSERT_EQ(anchor == nullptr, without.contains(type)) << type;
    if (!anchor) continue;
    EXPECT_EQ(anchor->getSampleType(), type);
    EXPECT_TRUE(anchor->isEqual(Owned(sample->getResourceAnchor()).get()));
  }
  ZOVServletSample servlet;
  for (const auto& [key, text] : {std::pair{9, "app"}, {267, "host"}, {270, "servlet"}, {271, "jsp"}})
    servlet.saveStringData(key, text);
  servlet.saveNumericData(272, 1);
  const ZOVServletAnchor expected("app", "host", "servlet", "jsp", 1);
  EXPECT_TRUE(Owned(servlet.getResourceAnchor())->isEqual(&expected));
}

/// Drives one anchor; a read gives the counter's delta (or, for the interval class, its total), "none" when
/// nothing came, and a "!" behind it when the anchor reported nothing.
class Resource {
 public:
  explicit Resource(bool interval) : _interval(interval) {}
  ZOVResourceAnchor anchor{ZOVSample::SampleTypeServlet, "resource"};

  std::unique_ptr<ZOVSample> sample(unsigned int time, long long count) const {
    std::unique_ptr<ZOVSample> made;
    if (_interval) {
      made = std::make_unique<ZOVWorkloadSumSample>();
      made->saveNumericData(703, count);
      made->saveNumericData(21, 10);
    } else {
      made = std::make_unique<ZOVServletSample>();
      made->saveNumericData(261, count);
    }
    made->saveNumericData(20, time);
    return made;
  }
  Resource& save(unsigned int time, long long count, unsigned int collection) {
    anchor.saveNewSample(sample(time, count).release(), collection);
    return *this;
  }
  std::string read(_SaveSampleType type) {
    _read = "none";
    const unsigned int took = anchor.returnSamples(
        [](ZOVSampleCallbackParms* parms, const void* sample,
           const ZOVApplicationServerBase*) -> unsigned int {
          const auto* that = static_cast<const ZOVSample*>(sample);
          EXPECT_TRUE(that->isRated());
          *reinterpret_cast<std::string*>(parms) =
              std::to_string(that->getNumericData(that->isIntervalSample() ? 703 : 261)) + " in " +
              std::to_string(that->getDuration());
          return 0;
        },
        reinterpret_cast<ZOVSampleCallbackParms*>(&_read), type, nullptr);
    return took ? _read : _read + "!";
  }
  std::string normal() { return read(SaveSampleInterval); }
  std::string history() { return read(SaveSampleHistorical); }
  std::string state() const {
    return anchor.isLogicallyDeleted() ? "deleted" : anchor.isHistoryOnly() ? "history taken" : "live";
  }

 private:
  bool _interval;
  std::string _read;
};

TEST(AnchorSamples, CumulativeHasTwoChainsOfRates) {
  Resource r(false);
  EXPECT_EQ(r.normal(), "none!");
  EXPECT_EQ(r.history(), "none!");
  EXPECT_EQ(r.save(1000, 100, 1).normal(), "-1 in 0");
  EXPECT_EQ(r.history(), "-1 in 0");
  EXPECT_EQ(r.save(1010, 130, 2).normal(), "30 in 10");
  EXPECT_EQ(r.save(1030, 135, 3).normal(), "5 in 20");
  EXPECT_EQ(r.history(), "35 in 30") << "since the last historical read";
  EXPECT_EQ(r.history(), "0 in 0");
  EXPECT_EQ(r.normal(), "5 in 20") << "untouched by the history";
}

TEST(AnchorSamples, IntervalHistoryAccumulatesUntilItIsRead) {
  Resource r(true);
  EXPECT_EQ(r.save(1000, 100, 1).normal(), "100 in 10");
  EXPECT_EQ(r.save(1010, 20, 2).normal(), "20 in 10");
  EXPECT_EQ(r.history(), "120 in 20");
  EXPECT_EQ(r.history(), "none") << "reports, though there is nothing";
  EXPECT_EQ(r.save(1020, 7, 3).history(), "7 in 10");
  EXPECT_EQ(r.normal(), "7 in 10");
}

TEST(AnchorSamples, PartsOfOneCollectionMerge) {
  Resource r(true);
  r.save(1000, 100, 5);
  EXPECT_TRUE(r.anchor.getLastSample()->isRated());
  r.save(1001, 50, 5);
  EXPECT_FALSE(r.anchor.getLastSample()->isRated());
  EXPECT_EQ(r.normal(), "150 in 10");
  EXPECT_EQ(r.history(), "150 in 10");
  EXPECT_EQ(r.save(1010, 3, 5).history(), "3 in 10") << "a part that finds no history begins one";

  Resource ungrouped(false);
  ungrouped.save(1000, 100, 0);
  EXPECT_EQ(ungrouped.save(1010, 130, 0).normal(), "30 in 10");
  EXPECT_EQ(ungrouped.save(1020, 140, 0).normal(), "10 in 10") << "each rated against the last";
  EXPECT_EQ(ungrouped.anchor.getLastCollectionId(), 0U);
}

TEST(AnchorSamples, ADeletedResourceHasOneLastHistoricalRead) {
  for (bool interval : {false, true}) {
    Resource r(interval);
    r.save(1000, 100, 1).save(1010, 130, 2);
    r.anchor.markLogicallyDeleted();
    EXPECT_EQ(r.state(), "deleted");
    EXPECT_EQ(r.normal(), "none!");
    EXPECT_EQ(r.history(), interval ? "230 in 20" : "-1 in 0");
    EXPECT_EQ(r.state(), "history taken");
    EXPECT_EQ(r.normal(), "none!") << "does not come back by being read";
    EXPECT_EQ(r.anchor.getLastSample() == nullptr, !interval);
    r.anchor.markLogicallyDeleted();
    EXPECT_EQ(r.state(), "history taken") << "is not deleted twice";
  }
}

TEST(AnchorSamples, AResourceThatComesBackStartsAfresh) {
  for (bool historyTaken : {false, true}) {
    Resource cumulative(false);
    cumulative.save(1000, 100, 1);
    cumulative.history();
    cumulative.anchor.markLogicallyDeleted();
    if (historyTaken) cumulative.history();
    cumulative.save(1010, 130, 2);
    EXPECT_EQ(cumulative.state(), "live");
    EXPECT_FALSE(cumulative.anchor.getLastSample()->isRated()) << "not against its past life";
    EXPECT_EQ(cumulative.anchor.getLastHistoricalSample(), nullptr);

    Resource interval(true);
    interval.save(1000, 100, 1);
    interval.anchor.markLogicallyDeleted();
    if (historyTaken) interval.history();
    EXPECT_EQ(interval.save(1010, 30, 2).normal(), "30 in 10");
    EXPECT_EQ(interval.state(), "live");
    EXPECT_EQ(interval.history(), historyTaken ? "30 in 10" : "130 in 20");
  }
}

TEST(AnchorSamples, ASampleForTheHistoryOfOneThatHasNoneIsDropped) {
  Resource r(false);
  r.save(1000, 100, 1);
  r.anchor.markLogicallyDeleted();
  r.history();
  ASSERT_EQ(r.state(), "history taken");
  r.anchor.saveNewHistoricalSample(r.sample(1010, 130).release());
  EXPECT_EQ(r.state(), "live");
  EXPECT_EQ(r.anchor.getLastSample(), nullptr);
}

}  // namespace
