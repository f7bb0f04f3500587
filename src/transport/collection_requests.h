#pragma once
// ZOVInitiateCollectionRequest and ZOVStopCollectionRequest: vocabulary of the protocol. The agent can
// receive both, and sends a prepared initiate; its own steering goes by ZOVCollectWorkload and
// ZOVCollectGCData.

#include "transport/request.h"

class ZOVInitiateCollectionRequest : public ZOVRequest {
 public:
  enum _InitiateKey { ValueKey = 12, OptionKey = 16, Text1Key = 18, Text2Key = 19, IntervalKey = 23 };

  ZOVInitiateCollectionRequest(long long value, unsigned int option, const char* text1, const char* text2,
                               unsigned int interval)
      : _value(value), _option(option), _text1(text1), _text2(text2), _interval(interval) {}
  ZOVInitiateCollectionRequest(const ZOVInitiateCollectionRequest& other);
  ZOVInitiateCollectionRequest& operator=(const ZOVInitiateCollectionRequest&) = default;

  int getRequestType() const override { return InitiateCollectionRequestType; }
  int getNumNumericKeys() const override;
  int getNumStringKeys() const override;
  void numericKeys(int* out) const override;
  void stringKeys(int* out) const override;
  void saveNumericData(int key, long long value) override;
  long long getNumericData(int key) const override;
  void saveStringData(int key, std::string_view text) override;
  const RWCString& getStringData(int key) const override;
  ZOVInitiateCollectionRequest* clone() const override { return new ZOVInitiateCollectionRequest(*this); }

 private:
  long long _value;
  unsigned int _option;
  RWCString _text1;
  RWCString _text2;
  unsigned int _interval;
};

class ZOVStopCollectionRequest : public ZOVRequest {
 public:
  int getRequestType() const override { return StopCollectionRequestType; }
  ZOVStopCollectionRequest* clone() const override { return new ZOVStopCollectionRequest(*this); }
};
