#include "transport/request.h"

#include "platform/message_rate.h"
#include "platform/trace.h"
#include "runtime/trace_scope.h"
#include "transport/buffer.h"
#include "transport/collect_gc_data.h"
#include "transport/collect_workload.h"
#include "transport/collection_requests.h"
#include "transport/ping_request.h"
#include "transport/poll_request.h"
#include "transport/response.h"

static DGT1_Unit traceUnit("ZOVCRQST");

std::atomic<std::uint32_t> ZOVRequest::NextCorrelatorId{1};

ZOVRequest::ZOVRequest(int timeout)
    : _correlatorId(NextCorrelatorId.fetch_add(1, std::memory_order_relaxed)), _timeout(timeout) {}

ZOVRequest::ZOVRequest(const ZOVRequest& other) : ZOVRequest(0) {
  *this = other;
}

void ZOVRequest::streamID(ZOVBuffer& buffer) const {
  ZOVTransportableData::streamID(buffer);
  buffer.streamInt(static_cast<unsigned int>(getRequestType()));
}

void ZOVRequest::saveNumericData(int key, long long value) {
  switch (key) {
    case CorrelatorKey:
      _correlatorId = static_cast<std::uint32_t>(value);
      break;
    case TimeoutKey:
      _timeout = static_cast<int>(value);
      break;
    default:
      ZOVTransportableData::saveNumericData(key, value);
  }
}

long long ZOVRequest::getNumericData(int key) const {
  switch (key) {
    case CorrelatorKey:
      return _correlatorId;
    case TimeoutKey:
      return _timeout;
    default:
      return ZOVTransportableData::getNumericData(key);
  }
}

std::unique_ptr<ZOVRequest> ZOVRequest::buildFromBuffer(ZOVBuffer& buffer) {
  ZOV_TRACE(Public);
  const int type = buffer.getNextIntField();
  switch (type) {
#define ZOV_REQUEST_TYPE(number, name, class_name)
#define ZOV_BUILT_REQUEST_TYPE(number, name, class_name) \
  case name:                                             \
    return std::make_unique<class_name>();
#include "transport/request_types.def"
    default:
      break;
  }
  DGT1_PrintfLimited(traceUnit, DGT1_ERROR, "Undefined message type %i received", type);
  DGT1_PrintfLimited(traceUnit, DGT1_ERROR, "Undefined RequestType received");
  return nullptr;
}
