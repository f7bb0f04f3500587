#include "transport/greeting.h"

#include <utility>

#include "runtime/trace_scope.h"
#include "transport/response.h"

static DGT1_Unit traceUnit("ZOVCGREE");

namespace zov {

Greeting::Greeting(std::shared_ptr<Reception> reception, std::shared_ptr<ZOVSocketConnection> connection,
                   std::unique_ptr<ZOVTransportableData> ping)
    : _reception(std::move(reception)),
      _connection(std::move(connection)),
      _ping(std::move(ping)),
      _peer(findPeer(_connection->getSocket())) {}

Greeting::~Greeting() {
  if (_isOwner) _reception->socket().deleteSocket(_connection.get());
}

ZOVReturnCode Greeting::answer(bool status, long long value) {
  ZOV_TRACE(Public);
  ZOVResponse response(status, value, nullptr);
  response.setCorrelatorId(ping().getCorrelatorId());
  return response.send(*_connection);
}

void Greeting::leaveToPeer() {
  _isOwner = false;
  _reception->leave(_connection);
}

void Greeting::handOver() {
  _isOwner = false;
}

}  // namespace zov
