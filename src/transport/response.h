#pragma once
// ZOVResponse: closes an exchange. The status says whether the request was accepted; on refusal the value is
// the ZOVReturnCode of the reason, on acceptance it is what the request type defines.

#include "transport/request.h"

class ZOVResponse : public ZOVRequest {
 public:
  enum _ResponseKey { StatusKey = 14, ValueKey = 15, MessageKey = 28, SecondValueKey = 37 };

  ZOVResponse(int status, long long value, const char* text)
      : _status(status), _value(value), _message(text) {}
  ZOVResponse(const ZOVResponse& other);
  ZOVResponse& operator=(const ZOVResponse&) = default;

  int getRequestType() const override { return ResponseType; }
  int getNumNumericKeys() const override;
  int getNumStringKeys() const override;
  void numericKeys(int* out) const override;
  void stringKeys(int* out) const override;
  void saveNumericData(int key, long long value) override;
  long long getNumericData(int key) const override;  ///< the status as on the wire: 2 true, 1 false
  void saveStringData(int key, std::string_view text) override;
  const RWCString& getStringData(int key) const override;
  ZOVResponse* clone() const override { return new ZOVResponse(*this); }

  int getStatus() const { return _status; }
  void setStatus(int status) { _status = status; }
  long long getValue() const { return _value; }
  void setValue(long long value) { _value = value; }
  long long getSecondValue() const { return _secondValue; }
  const RWCString& getMessage() const { return _message; }

 private:
  int _status;
  long long _value;
  long long _secondValue = 0;
  RWCString _message;
};
