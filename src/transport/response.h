#pragma once
// ZOVResponse: closes an exchange. The status says whether the request was accepted; on refusal the value is
// the ZOVReturnCode of the reason, on acceptance it is what the request type defines.

#include "transport/fielded_request.h"

class ZOVResponse : public zov::FieldedRequest<ZOVResponse, ZOVRequest::ResponseType> {
 public:
  ZOVResponse() : ZOVResponse(true, 0, nullptr) {}
  ZOVResponse(bool status, long long value, const char* text)
      : _status(status), _value(value), _message(text) {}

  bool getStatus() const { return _status; }
  void setStatus(bool status) { _status = status; }
  long long getValue() const { return _value; }
  void setValue(long long value) { _value = value; }
  long long getSecondValue() const { return _secondValue; }
  const RWCString& getMessage() const { return _message; }

 private:
  friend FieldedRequest;
  static std::span<const NumericField> numericFields();
  static std::span<const TextField> textFields();

  bool _status;
  long long _value;
  long long _secondValue = 0;
  RWCString _message;
};
