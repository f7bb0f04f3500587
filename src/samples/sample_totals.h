#pragma once
// SampleTotals: what the samples of a resource have counted all in all. A sample of an interval knows only
// its own counts; readers who come at times of their own need counts that only grow.
//
// Totals are kept from the first call of keep() for a type on, so that they cost nothing before anybody reads
// them. They belong to an anchor, and end with it; the anchor's lock guards them. Those of events, whose
// anchors are one for each, belong to their server.

#include <cstdint>
#include <vector>

#include "samples/sample.h"

namespace zov {

class SampleTotals {
 public:
  /// From now on, and for good. Any thread.
  static void keep(ZOVSample::_SampleType type);
  static bool areKept(ZOVSample::_SampleType type);

  /// Adds the counts of an interval, or of a part of what one brought.
  void add(const ZOVSample& sample);
  /// Of a key of the samples; ZOVSample::NullValue before anything was counted.
  long long of(int key) const;
  std::size_t memoryBytes() const;

 private:
  const SampleClass* _class = nullptr;  // of all samples; null before the first
  std::vector<long long> _totals;       // as its numericKeys
};

}  // namespace zov
