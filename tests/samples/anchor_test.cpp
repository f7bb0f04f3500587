#include <gtest/gtest.h>

#include <memory>

#include "samples/anchors.h"
#include "samples/sample_classes.h"

namespace {

using Owned = std::unique_ptr<ZOVResourceAnchor>;

template <class Anchor, class... Arguments>
Owned an(const Arguments&... arguments) {
  return std::make_unique<Anchor>(arguments...);
}

TEST(AnchorHash, ReadsTheEndsOfAText) {
  const std::pair<const char*, unsigned int> cases[] = {
      {"", 0}, {"abc", 0x636261}, {"abcde", 0x64636261 ^ 0x65646362}, {"\xff", 0xff}};
  for (const auto& [text, key] : cases) EXPECT_EQ(ZOVResourceAnchor::createHashKey(text), key) << text;
}

TEST(AnchorEquality, TakesAllOfTheIdentity) {
  Owned anchors[] = {an<ZOVServletAnchor>("app", "host", "servlet", "jsp", 0),
                     an<ZOVServletAnchor>("app2", "host", "servlet", "jsp", 0),
                     an<ZOVServletAnchor>("app", "host2", "servlet", "jsp", 0),
                     an<ZOVServletAnchor>("app", "host", "servlet2", "jsp", 0),
                     an<ZOVServletAnchor>("app", "host", "servlet", "jsp2", 0),
                     an<ZOVServletAnchor>("app", "host", "servlet", "jsp", 1),
                     an<ZOVApplicationAnchor>("app", "host"),
                     an<ZOVServletAnchor>("app", "host", "servlet", "jsp", 0)};
  std::end(anchors)[-1]->setSampleType(ZOVSample::SampleTypeNone);
  for (const Owned& one : anchors) {
    for (const Owned& other : anchors) {
      const Owned copy(other->clone());
      EXPECT_EQ(one->isEqual(copy.get()), one == other) << &one - anchors << ' ' << &other - anchors;
      EXPECT_EQ(one->lookupHash() == copy->lookupHash(), one == other);
    }
    EXPECT_FALSE(one->isEqual(nullptr));
  }
}

TEST(AnchorMatching, FollowsTheRulesOfTheClass) {
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
      {"empty name", an<ZOVAppServerAnchor>("a"), an<ZOVAppServerAnchor>(), true, false},
      {"open type where it counts", an<ZOVAppServerAnchor>("a"), open(an<ZOVAppServerAnchor>("a")), false,
       true},
      {"open type", an<ZOVContainerAnchor>("a", 1), open(an<ZOVContainerAnchor>()), true, false},
      {"other class", an<ZOVObjectPoolAnchor>("a", 1), open(an<ZOVContainerAnchor>()), false, false},
      {"summary", an<ZOVThreadPoolAnchor>("a", 1), an<ZOVThreadPoolAnchor>("a", 0), false, true},
      {"servlet, all given", an<ZOVServletAnchor>("a", "h", "s", "j", 1),
       an<ZOVServletAnchor>("a", "h", "s", "j", 1), true, false},
      {"method summary has no open names", an<ZOVMethodAnchor>(7, "m", "C", "()V"),
       an<ZOVMethodAnchor>(0, "", "C", "()V"), false, false},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.anchor->doesItMatch(c.filter.get()), c.matches) << c.what;
    EXPECT_EQ(c.filter->isSpecific(), c.specific) << c.what;
    EXPECT_FALSE(c.anchor->doesItMatch(nullptr)) << c.what;
  }
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
  EXPECT_EQ(ungrouped.save(1000, 100, 0).save(1010, 130, 0).normal(), "30 in 10") << "rated against the last";
}

TEST(AnchorSamples, ADeletedResourceHasOneLastHistoricalRead) {
  for (bool interval : {false, true}) {
    Resource r(interval);
    r.save(1000, 100, 1).save(1010, 130, 2);
    r.anchor.markLogicallyDeleted();
    EXPECT_EQ(r.state(), "deleted");
    EXPECT_EQ(r.normal(), "none!");
    EXPECT_EQ(r.history(), interval ? "230 in 20" : "-1 in 0");
    EXPECT_EQ(r.normal(), "none!") << "does not come back by being read";
    EXPECT_EQ(r.anchor.getLastSample() == nullptr, !interval);
    r.anchor.markLogicallyDeleted();
    EXPECT_EQ(r.state(), "history taken") << "is not deleted twice";
  }
}

TEST(AnchorSamples, AResourceThatComesBackStartsAfresh) {
  for (const bool historyTaken : {false, true}) {
    Resource cumulative(false), interval(true);
    for (Resource* r : {&cumulative, &interval}) r->save(1000, 100, 1);
    cumulative.history();
    for (Resource* r : {&cumulative, &interval}) {
      r->anchor.markLogicallyDeleted();
      if (historyTaken) r->history();
      r->save(1010, 30, 2);
      EXPECT_EQ(r->state(), "live");
    }
    EXPECT_FALSE(cumulative.anchor.getLastSample()->isRated()) << "not against its past life";
    EXPECT_EQ(cumulative.anchor.getLastHistoricalSample(), nullptr);
    EXPECT_EQ(interval.normal(), "30 in 10");
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

TEST(AnchorTotals, AddUpWhatIntervalsBringOnceSomebodyWantsThem) {
  const Owned anchor = an<ZOVWorkloadSumAnchor>(1, 1, "shop", "order");
  unsigned int collection = 0;
  const auto save = [&](unsigned int id, long long count, long long time) {
    auto* sample = new ZOVWorkloadSumSample;
    sample->saveNumericData(zov::key::request_count, count);
    sample->saveNumericData(zov::key::request_time, time);
    anchor->saveNewSample(sample, id);
  };
  save(++collection, 100, 1000);
  EXPECT_EQ(anchor->totals(), nullptr) << "nobody has asked";
  const std::size_t before = anchor->memoryBytes();
  zov::SampleTotals::keep(ZOVSample::SampleTypeWorkloadSummary);
  save(++collection, 3, 40);
  save(collection, 2, ZOVSample::NullValue);  // a further part of the same collection
  save(++collection, 1, 2);
  anchor->resetHistoricalSample();
  save(++collection, 5'000'000'000, 8);
  ASSERT_NE(anchor->totals(), nullptr);
  EXPECT_EQ(anchor->totals()->of(zov::key::request_count), 5'000'000'006);
  EXPECT_EQ(anchor->totals()->of(zov::key::request_time), 50);
  EXPECT_EQ(anchor->totals()->of(zov::key::longest_request_time), ZOVSample::NullValue);
  EXPECT_EQ(anchor->totals()->of(-1), ZOVSample::NullValue);
  EXPECT_GT(anchor->memoryBytes(), before);
}

}  // namespace
