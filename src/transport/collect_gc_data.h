#pragma once
// ZOVCollectGCData: asks a collector to capture, or to stop capturing, the JVM's verbose garbage collection
// log.

#include "transport/fielded_request.h"

class ZOVCollectGCData : public zov::FieldedRequest<ZOVCollectGCData, ZOVRequest::CollectGCDataType> {
 public:
  enum _CollectAction { StartCollecting = 1, StopCollecting = 2 };
  enum _DiscardAction { DiscardOldest = 1 };
  ZOVCollectGCData() = default;
  ZOVCollectGCData(_CollectAction action, const char* verboseGCFileName, unsigned int pollFrequency,
                   _DiscardAction discardAction, unsigned int maxRecords);

 private:
  friend FieldedRequest;
  static std::span<const NumericField> numericFields();
  static std::span<const TextField> textFields();

  RWCString _verboseGCFileName;
  unsigned int _pollFrequency = 60;  // seconds between the collector's reads of the log
  unsigned int _maxRecords = 200;    // kept by the collector between polls
  int _collectAction = StartCollecting;
  int _discardAction = DiscardOldest;  // what the collector does past _maxRecords
};
