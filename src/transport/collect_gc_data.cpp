#include "transport/collect_gc_data.h"

std::span<const ZOVCollectGCData::NumericField> ZOVCollectGCData::numericFields() {
  static constexpr NumericField fields[] = {
      numeric<&ZOVCollectGCData::_collectAction>(GCActionKey),
      numeric<&ZOVCollectGCData::_pollFrequency>(GCPollFrequencyKey),
      numeric<&ZOVCollectGCData::_maxRecords>(GCMaxRecordsKey),
      numeric<&ZOVCollectGCData::_discardAction>(GCDiscardActionKey),
  };
  return fields;
}

std::span<const ZOVCollectGCData::TextField> ZOVCollectGCData::textFields() {
  static constexpr TextField fields[] = {{GCFileNameKey, &ZOVCollectGCData::_verboseGCFileName}};
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
