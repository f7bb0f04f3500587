#pragma once
// ZOVRequest: a control message with a correlator that ties its response to it, and the factory for those
// that come from a peer. One exchange at a time runs on a socket, under a lock of the socket's owner, so
// there is no table of outstanding requests.

#include <atomic>
#include <cstdint>
#include <memory>

#include "transport/transportable_data.h"

class ZOVRequest : public ZOVTransportableData {
 public:
  enum _RequestType {
    BaseRequestType = 0,
#define ZOV_REQUEST_TYPE(number, name, class_name) name = number,
#include "transport/request_types.def"
  };
  enum _RequestKey {
#define ZOV_REQUEST_KEY(number, name, meaning) name = number,
#include "transport/request_keys.def"
  };

  /// `timeout` in seconds; never sent. Takes the next correlator.
  explicit ZOVRequest(int timeout = 0);
  ZOVRequest(const ZOVRequest& other);  ///< keeps the source's correlator, though it takes a number too
  ZOVRequest& operator=(const ZOVRequest&) = default;

  int getDataType() const override {
    return RequestDataType;
  }
  void streamID(ZOVBuffer& buffer) const override;
  int getNumNumericKeys() const override {
    return 1;
  }
  void numericKeys(int* out) const override {
    *out = CorrelatorKey;
  }
  void saveNumericData(int key, long long value) override;
  long long getNumericData(int key) const override;
  ZOVRequest* clone() const override {
    return new ZOVRequest(*this);
  }

  virtual int getRequestType() const {
    return BaseRequestType;
  }
  virtual void setTimeout(int seconds) {
    _timeout = seconds;
  }

  int getTimeout() const {
    return _timeout;
  }
  std::uint32_t getCorrelatorId() const {
    return _correlatorId;
  }
  void setCorrelatorId(std::uint32_t id) {
    _correlatorId = id;
  }

  /// Reads the 4-byte type and makes the object with defaults; null for a type that no peer sends.
  static std::unique_ptr<ZOVRequest> buildFromBuffer(ZOVBuffer& buffer);

 private:
  static std::atomic<std::uint32_t> NextCorrelatorId;

  std::uint32_t _correlatorId;
  int _timeout;
};
