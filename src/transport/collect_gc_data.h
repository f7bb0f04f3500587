#pragma once
// ZOVCollectGCData: asks a collector to capture, or to stop capturing, the JVM's verbose garbage collection
// log.

#include "transport/request.h"

class ZOVCollectGCData : public ZOVRequest {
 public:
  enum _CollectAction { StartCollecting = 1, StopCollecting = 2 };
  enum _DiscardAction { DiscardOldest = 1 };
  enum _GCDataKey {
    CollectActionKey = 1050,
    FileNameKey = 1051,
    PollFrequencyKey = 1052,
    MaxRecordsKey = 1053,
    DiscardActionKey = 1054
  };

  ZOVCollectGCData() = default;
  ZOVCollectGCData(_CollectAction action, const char* verboseGCFileName, unsigned int pollFrequency,
                   _DiscardAction discardAction, unsigned int maxRecords);
  ZOVCollectGCData(const ZOVCollectGCData& other);
  ZOVCollectGCData& operator=(const ZOVCollectGCData&) = default;

  int getRequestType() const override { return CollectGCDataType; }
  int getNumNumericKeys() const override;
  int getNumStringKeys() const override;
  void numericKeys(int* out) const override;
  void stringKeys(int* out) const override;
  void saveNumericData(int key, long long value) override;
  long long getNumericData(int key) const override;
  void saveStringData(int key, std::string_view text) override;
  const RWCString& getStringData(int key) const override;
  ZOVCollectGCData* clone() const override { return new ZOVCollectGCData(*this); }

 private:
  RWCString _verboseGCFileName;
  unsigned int _pollFrequency = 60;  // seconds between the collector's reads of the log
  unsigned int _maxRecords = 200;    // kept by the collector between polls
  int _collectAction = StartCollecting;
  int _discardAction = DiscardOldest;  // what the collector does past _maxRecords
};
