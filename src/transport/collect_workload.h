#pragma once
// ZOVCollectWorkload: tells a collector at which level to measure requests, and what percentage of them.
// Levels of the agent are 0 (off), 1 and 2; the wire has its own numbers for them.

#include "transport/request.h"

class ZOVCollectWorkload : public ZOVRequest {
 public:
  enum _CollectAllCalls { CollectDefaultCalls = 0, CollectEveryCall = 1 };
  enum _WorkloadKey {
    ClassTypesKey = 650,
    ClassListKey = 651,
    CollectAllCallsKey = 652,
    CollectOptionsKey = 654,
    CollectLevelKey = 659,
    SamplingRateKey = 679
  };
  static constexpr const char* AllCollectClassTypes = "A";

  ZOVCollectWorkload() : ZOVCollectWorkload("", "", 0, 0, CollectDefaultCalls, 0) {}
  /// `level` is the agent's: it is transformed here.
  ZOVCollectWorkload(const char* classTypes, const char* classList, int level, int samplingRate,
                     _CollectAllCalls allCalls, int options);
  ZOVCollectWorkload(const ZOVCollectWorkload& other);
  ZOVCollectWorkload& operator=(const ZOVCollectWorkload&) = default;

  int getRequestType() const override { return CollectWorkloadType; }
  int getNumNumericKeys() const override;
  int getNumStringKeys() const override;
  void numericKeys(int* out) const override;
  void stringKeys(int* out) const override;
  void saveNumericData(int key, long long value) override;
  long long getNumericData(int key) const override;
  void saveStringData(int key, std::string_view text) override;
  const RWCString& getStringData(int key) const override;
  ZOVCollectWorkload* clone() const override { return new ZOVCollectWorkload(*this); }

  static int transformCollectLevel(int level);
  static int detransformCollectLevel(int wire);

 private:
  RWCString _classTypes;  // "A" for all, or empty for none
  RWCString _classList;
  int _collectOptions;
  int _collectLevel;  // the wire's
  int _samplingRate;  // percent
  int _collectAllCalls;
};
