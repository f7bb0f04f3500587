#pragma once
// ZOVCollectWorkload: tells a collector at which level to measure requests, and what percentage of them.
// Levels of the agent are 0 (off), 1 and 2; the wire has its own numbers for them.

#include "transport/fielded_request.h"

class ZOVCollectWorkload : public zov::FieldedRequest<ZOVCollectWorkload, ZOVRequest::CollectWorkloadType> {
 public:
  enum _CollectAllCalls { CollectDefaultCalls = 0, CollectEveryCall = 1 };
  static constexpr const char* AllCollectClassTypes = "A";

  ZOVCollectWorkload() : ZOVCollectWorkload(nullptr, nullptr, 0, 0, CollectDefaultCalls, 0) {}
  /// `level` is the agent's: it is transformed here.
  ZOVCollectWorkload(const char* classTypes, const char* classList, int level, int samplingRate,
                     _CollectAllCalls allCalls, int options);

  static int transformCollectLevel(int level);
  static int detransformCollectLevel(int wire);

 private:
  friend FieldedRequest;
  static std::span<const NumericField> numericFields();
  static std::span<const TextField> textFields();

  RWCString _classTypes;  // "A" for all, or empty for none
  RWCString _classList;
  int _collectOptions;
  int _collectLevel;  // the wire's
  int _samplingRate;  // percent
  int _collectAllCalls;
};
