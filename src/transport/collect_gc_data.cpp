#include "transport/collect_gc_data.h"

std::span<const ZOVCollectGCData::NumericField> ZOVCollectGCData::numericFields() {
  static constexpr NumericField fields[] = {
      numeric<&ZOVCollectGCData::_collectAction>(1050),
      numeric<&ZOVCollectGCData::_pollFrequency>(1052),
      numeric<&ZOVCollectGCData::_maxRecords>(1053),
      numeric<&ZOVCollectGCData::_discardAction>(1054),
  };
  return fields;
}

std::span<const ZOVCollectGCData::TextField> ZOVCollectGCData::textFields() {
  static constexpr TextField fields[] = {{1051, &ZOVCollectGCData::_verboseGCFileName}};
  return fields;
}

ZOVCollectGCData::ZOVCollectGCData(_CollectAction action, const char* verboseGCFileName,
                                   unsigned int pollFrequency, _DiscardAction discardAction,
                                   unsigned int maxRecords)
    : _verboseGCFileName(verboseGCFileName),
      _pollFrequency(pollFrequency),
      _maxRecords(maxRecords),
      _collectAction(action),
      _discardAction(discardAction) {}
