#include "transport/exchange.h"

#include "platform/trace.h"
#include "runtime/trace_scope.h"
#include "transport/buffer.h"
#include "transport/response.h"
#include "transport/socket_connection.h"

static DGT1_Unit traceUnit("ZOVCEXCH");

ZOVReturnCode zovExchange(ZOVSocketConnection* socket, const ZOVRequest& request, int timeout,
                          _ResponseExpectation expectation, long long* value, RWCString* text) {
  ZOV_TRACE(Public);
  if (value) *value = 0;
  if (text) text->clear();
  if (!socket) return ZOV_SOCKET_CLOSED;
  ZOVReturnCode code = request.send(*socket);
  if (code != ZOV_OK || expectation != ResponseExpected) return code;
  const std::unique_ptr<ZOVBuffer> buffer = socket->receive(code, timeout, LogEveryFailure);
  if (!buffer) return code;
  if (buffer->peekDataType() != ZOVTransportableData::RequestDataType ||
      buffer->peekSubtype() != ZOVRequest::ResponseType) {
    return ZOV_INVALID_DATA;
  }
  const std::unique_ptr<ZOVTransportableData> object = ZOVTransportableData::buildFromBuffer(*buffer);
  if (!object) return ZOV_INVALID_DATA;
  const auto& response = static_cast<const ZOVResponse&>(*object);
  if (value) *value = response.getValue();
  if (response.getStatus() && response.getCorrelatorId() == request.getCorrelatorId()) return ZOV_OK;
  DGT1_Printf(traceUnit, DGT1_DETAIL, "Response %i with correlator %i to request with correlator %i",
              response.getStatus(), response.getCorrelatorId(), request.getCorrelatorId());
  if (text) *text = response.getMessage();
  return ZOV_INVALID_RESPONSE;
}
