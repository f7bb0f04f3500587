#pragma once
// ZOVInitiateCollectionRequest and ZOVStopCollectionRequest: vocabulary of the protocol. The agent can
// receive both, and sends a prepared initiate; its own steering goes by ZOVCollectWorkload and
// ZOVCollectGCData.

#include "transport/fielded_request.h"

class ZOVInitiateCollectionRequest
    : public zov::FieldedRequest<ZOVInitiateCollectionRequest, ZOVRequest::InitiateCollectionRequestType> {
 public:
  ZOVInitiateCollectionRequest() : ZOVInitiateCollectionRequest(0, 0, nullptr, nullptr, 0) {}
  ZOVInitiateCollectionRequest(long long value, unsigned int option, const char* text1, const char* text2,
                               unsigned int interval)
      : _value(value), _option(option), _text1(text1), _text2(text2), _interval(interval) {}

 private:
  friend FieldedRequest;
  static std::span<const NumericField> numericFields();
  static std::span<const TextField> textFields();

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
