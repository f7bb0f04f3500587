#include "transport/collect_workload.h"

namespace {

constexpr struct { int level, wire; } collectLevels[] = {{1, 0x300}, {2, 0x7F00}};

}  // namespace

int ZOVCollectWorkload::transformCollectLevel(int level) {
  for (const auto& row : collectLevels) {
    if (row.level == level) return row.wire;
  }
  return 0;
}

int ZOVCollectWorkload::detransformCollectLevel(int wire) {
  for (const auto& row : collectLevels) {
    if (row.wire == wire) return row.level;
  }
  return 0;
}

std::span<const ZOVCollectWorkload::NumericField> ZOVCollectWorkload::numericFields() {
  static constexpr NumericField fields[] = {
      numeric<&ZOVCollectWorkload::_collectAllCalls>(CollectAllCallsKey),
      numeric<&ZOVCollectWorkload::_collectOptions>(CollectOptionsKey),
      numeric<&ZOVCollectWorkload::_collectLevel>(CollectLevelKey),
      numeric<&ZOVCollectWorkload::_samplingRate>(SamplingRateKey),
  };
  return fields;
}

std::span<const ZOVCollectWorkload::TextField> ZOVCollectWorkload::textFields() {
  static constexpr TextField fields[] = {
      {ClassTypesKey, &ZOVCollectWorkload::_classTypes},
      {ClassListKey, &ZOVCollectWorkload::_classList},
  };
  return fields;
}

ZOVCollectWorkload::ZOVCollectWorkload(const char* classTypes, const char* classList, int level,
                                       int samplingRate, _CollectAllCalls allCalls, int options)
    : _classTypes(classTypes),
      _classList(classList),
      _collectOptions(options),
      _collectLevel(transformCollectLevel(level)),
      _samplingRate(samplingRate),
      _collectAllCalls(allCalls) {}
