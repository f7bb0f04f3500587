#pragma once
// A sample class with one key of each kind, cumulative or interval, whose keys are its kinds plus 100.

#include "samples/sample.h"

namespace kinds {

enum : int {
  Numeric = 100,
  Counter = 102,
  FromZero = 103,
  Percent = 104,  // of Counter
  StatInfo = 105,
  PerfLoad = 106,
  Maximum = 107,
  Minimum = 108,
  Scale = 3
};

inline constexpr int keys[] = {Numeric, Counter, FromZero, Percent, StatInfo, PerfLoad, Maximum, Minimum};
inline constexpr zov::KeyRow rows[] = {{KeyKindNumeric, 0, 0},         {KeyKindCounter, Scale, 0},
                                       {KeyKindCounterFromZero, 0, 0}, {KeyKindPercent, Scale, Counter},
                                       {KeyKindStatInfo, Scale, 0},    {KeyKindPerfLoad, 0, 0},
                                       {KeyKindMaximum, 0, 0},         {KeyKindMinimum, 0, 0}};
inline constexpr std::array<int, KeyTableSize> placement = [] {
  std::array<int, KeyTableSize> made{};
  createKeyPlacementArray(made.data(), keys, static_cast<int>(std::size(keys)));
  return made;
}();
inline constexpr zov::SampleClass cumulative{"Cumulative", SampleTypeServlet, false, keys,
                                             rows,         placement.data(),  {},    nullptr};
inline constexpr zov::SampleClass interval{"Interval", SampleTypeWorkloadSummary, true, keys,
                                           rows,       placement.data(),          {},   nullptr};

class Sample : public ZOVSample {
 public:
  explicit Sample(const zov::SampleClass& info, unsigned int time = 1000) : ZOVSample(info) {
    saveNumericData(zov::key::sample_time, time);
  }
  Sample(const Sample&) = default;
  ZOVSample* clone() const override { return new Sample(*this); }

  Sample& with(int key, long long value) {
    saveNumericData(key, value);
    return *this;
  }
  Sample& withStatistic(int key, double total, double count) {
    saveStatInfoData(key, total, count);
    return *this;
  }
};

}  // namespace kinds
