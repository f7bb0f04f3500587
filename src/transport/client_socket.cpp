#include "transport/client_socket.h"

#include <sys/socket.h>

#include "platform/trace.h"
#include "runtime/trace_scope.h"
#include "transport/tcp_stream.h"

static DGT1_Unit traceUnit("ZOVCCSKT");

ZOVClientSocket::ZOVClientSocket(std::uint16_t port, const char* name, in_addr_t address)
    : ZOVSocketConnection(port, name) {
  ZOV_TRACE(Public);
  if (!_valid) return;
  if (address != 0) _address.sin_addr.s_addr = address;
  zov::keepAlive(getSocket());
  if (::connect(getSocket(), reinterpret_cast<const sockaddr*>(&_address), sizeof _address) == 0) return;
  fail(determineError());
  DGT1_Printf(traceUnit, DGT1_DETAIL, "Bad return code %i from connect.  Name = %s", unsigned{getLastRC()},
              getConnectionName().data());
}
