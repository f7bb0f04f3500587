#include "transport/socket_connection.h"

#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>

#include "diag/agent_log.h"
#include "diag/utf8_handler.h"
#include "platform/trace.h"
#include "runtime/trace_scope.h"
#include "transport/buffer.h"

static DGT1_Unit traceUnit("ZOVCSOCK");

namespace {

constexpr in_addr_t DefaultAddress = 0x7f000001;  // as it stands, in no byte order; every user replaces it
constexpr std::size_t ReceiveStep = 65536;
constexpr std::size_t BitsPerWord = sizeof(unsigned long) * CHAR_BIT;

}  // namespace

thread_local int ZOVSocketConnection::LastError = 0;

ZOVSocketConnection::ZOVSocketConnection(std::uint16_t port, const char* name)
    : ZOVSocketConnection(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0), port, name) {}

ZOVSocketConnection::ZOVSocketConnection(int socket, std::uint16_t port, const char* name)
    : _port(port),
      _socket(socket),
      _valid(socket >= 0),
      _lastRC(socket >= 0 ? ZOVReturnCode(ZOV_OK) : determineError()) {
  ZOV_TRACE(Public);
  if (_valid) LastError = 0;
  _address.sin_family = AF_INET;
  _address.sin_port = htons(port);
  _address.sin_addr.s_addr = DefaultAddress;
  setConnectionName(name ? name : "**unknown**");
}

ZOVSocketConnection::~ZOVSocketConnection() {
  ZOV_TRACE(Public);
  if (_socket < 0) return;
  DGT1_Printf(traceUnit, DGT1_DETAIL, "Socket %X %s being shut down", _socket, _connectionNameLocal.data());
  ::shutdown(_socket, SHUT_RDWR);
  ::close(_socket);
}

void ZOVSocketConnection::setConnectionName(const char* utf8Text) {
  ZOV_TRACE(Public);
  _connectionName = RWCString(utf8Text);
  _connectionNameLocal = ZOVUTF8Handler(_connectionName)
                             .convertToSBLocalString(ZOVUTF8Handler::defaultMBSubstituteString.data());
}

ZOVReturnCode ZOVSocketConnection::determineError() {
  LastError = errno;
  DGT1_Printf(traceUnit, DGT1_DETAIL, "LastError is %i \n", LastError);
  switch (LastError) {
    case EINTR:
      return Interrupted;
    case EIO:
      return 29;
    case ENOMEM:
      return 24;
    case EACCES:
      return 22;
    case EMFILE:
      return 23;
    case ENOSR:
      return 25;
    case EMSGSIZE:
      return 28;
    case EPROTONOSUPPORT:
      return 26;
    default:
      return ZOV_SOCKET_ERROR;
  }
}

void ZOVSocketConnection::logFailure(const char* function, int line, const ZOVReturnCode& code) const {
  RWCString details;
  ZOVGetLastError(&details, LastError);
  zov_detail::logError(traceUnit.tag(), function, line, ZOVA0079E, function, _connectionName,
                       code.getDescription(), details);
}

ZOVReturnCode ZOVSocketConnection::Send(const ZOVBuffer& buffer) {
  ZOV_TRACE(Public);
  const std::uint32_t length = htonl(static_cast<std::uint32_t>(buffer.length()));
  // Length and body leave together; else the body would wait for the peer to acknowledge the length.
  ZOVReturnCode code =
      sendFrom(reinterpret_cast<const char*>(&length), sizeof length, buffer.isNull() ? 0 : MSG_MORE);
  if (code == ZOV_OK) code = sendFrom(buffer.data(), buffer.length());
  if (code != ZOV_OK) {
    logFailure("Send", __LINE__, code);
  } else if (traceUnit.on(DGT1_DETAIL)) {
    SnapHex(traceUnit, buffer.data(), buffer.length(),
            DGT1_FormatText("Data sent across socket %s", _connectionNameLocal.data()).c_str());
  }
  return code;
}

std::unique_ptr<ZOVBuffer> ZOVSocketConnection::receive(ZOVReturnCode& rc, long timeout,
                                                        _TimeoutMessageRequired required) {
  ZOV_TRACE(Public);
  if (timeout != 0) {
    rc = waitForSocketOrTimeout(timeout, _socket);
    if (rc != ZOV_OK) {
      DGT1_Printf(traceUnit, DGT1_DETAIL, "Bad return code from receive %i Name = %s", unsigned{rc},
                  _connectionNameLocal.data());
      return nullptr;
    }
  }
  std::uint32_t length = 0;
  std::string body;
  rc = receiveInto(reinterpret_cast<char*>(&length), sizeof length);
  if (rc == ZOV_OK) {
    length = ntohl(length);
    DGT1_Printf(traceUnit, DGT1_DETAIL, "About to receive message of length %i \n", length);
    rc = receiveBody(body, length);
  }
  if (rc != ZOV_OK) {
    if (required != DoNotLogTimeout || rc != ZOV_SOCKET_TIMED_OUT) logFailure("Receive", __LINE__, rc);
    return nullptr;
  }
  if (traceUnit.on(DGT1_DETAIL)) {
    SnapHex(traceUnit, body.data(), body.size(),
            DGT1_FormatText("Data received from socket %s", _connectionNameLocal.data()).c_str());
  }
  return std::make_unique<ZOVBuffer>(*this, RWCString(std::move(body)));
}

ZOVReturnCode ZOVSocketConnection::receiveBody(std::string& body, std::uint32_t length) {
  ZOVReturnCode code = ZOV_OK;
  while (code == ZOV_OK && body.size() < length) {
    const std::size_t had = body.size();
    const std::size_t step = std::min<std::size_t>(length - had, ReceiveStep);
    body.resize(had + step);
    code = receiveInto(body.data() + had, step);
  }
  return code;
}

/// A transfer of 0 bytes; no errno goes with it.
ZOVReturnCode ZOVSocketConnection::peerClosed() {
  errno = LastError = 0;
  return ZOV_SOCKET_TERMINATED;
}

ZOVReturnCode ZOVSocketConnection::sendFrom(const char* bytes, std::size_t count) {
  return sendFrom(bytes, count, 0);
}

ZOVReturnCode ZOVSocketConnection::sendFrom(const char* bytes, std::size_t count, int flags) {
  ZOVReturnCode code = ZOV_OK;
  while (count > 0 && code == ZOV_OK) {
    const ssize_t sent = ::send(_socket, bytes, count, flags | MSG_NOSIGNAL);
    if (sent > 0) {
      bytes += sent;
      count -= static_cast<std::size_t>(sent);
    } else if (sent == 0) {
      code = peerClosed();
    } else {
      code = determineError();
      if (code == Interrupted) code = ZOV_OK;
    }
  }
  return code;
}

ZOVReturnCode ZOVSocketConnection::receiveInto(char* bytes, std::size_t count) {
  ZOVReturnCode code = ZOV_OK;
  while (count > 0 && code == ZOV_OK) {
    const ssize_t received = ::recv(_socket, bytes, count, 0);
    if (received > 0) {
      bytes += received;
      count -= static_cast<std::size_t>(received);
    } else if (received == 0) {
      code = peerClosed();
    } else {
      code = determineError();
      if (code == Interrupted) code = ZOV_OK;
    }
  }
  return code;
}

ZOVReturnCode ZOVSocketConnection::waitForSocketOrTimeout(long seconds, int socket) {
  ZOV_TRACE(Restricted);
  using Clock = std::chrono::steady_clock;
  if (socket < 0) return ZOV_SOCKET_CLOSED;
  const auto bit = static_cast<std::size_t>(socket);
  if (bit >= _selectSet.size() * BitsPerWord) _selectSet.resize(2 * bit / BitsPerWord + 1);
  const Clock::time_point deadline = Clock::now() + limitedSeconds(seconds);
  for (;;) {
    const auto left = std::max(std::chrono::ceil<std::chrono::microseconds>(deadline - Clock::now()),
                               std::chrono::microseconds(0));
    timeval limit{static_cast<time_t>(left.count() / 1000000),
                  static_cast<suseconds_t>(left.count() % 1000000)};
    std::ranges::fill(_selectSet, 0UL);
    _selectSet[bit / BitsPerWord] = 1UL << bit % BitsPerWord;
    // The set's words stand for an fd_set, which would end at descriptor 1023.
    const int ready =
        ::select(socket + 1, reinterpret_cast<fd_set*>(_selectSet.data()), nullptr, nullptr, &limit);
    if (ready > 0) return ZOV_OK;
    if (ready == 0) return ZOV_SOCKET_TIMED_OUT;
    const ZOVReturnCode code = determineError();
    if (code != Interrupted) return code;
  }
}

ZOVReturnCode ZOVSocketConnection::testConnection() {
  ZOV_TRACE(Public);
  const ZOVReturnCode code = waitForSocketOrTimeout(0, _socket);
  return code == ZOV_SOCKET_TIMED_OUT ? ZOVReturnCode(ZOV_OK) : code;
}

void ZOVSocketConnection::shutdownSocket() {
  ZOV_TRACE(Public);
  if (_socket >= 0) ::shutdown(_socket, SHUT_RDWR);
}
