#include "transport/socket_connection.h"

#include <sys/socket.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <string_view>
#include <utility>

#include "diag/agent_log.h"
#include "diag/utf8_handler.h"
#include "platform/trace.h"
#include "runtime/trace_scope.h"
#include "runtime/waits.h"
#include "transport/buffer.h"
#include "transport/tcp_stream.h"

static DGT1_Unit traceUnit("ZOVCSOCK");

namespace {

constexpr in_addr_t DefaultAddress = 0x7f000001;  // as it stands, in no byte order; every user replaces it
constexpr std::size_t ReceiveStep = 65536;
constexpr long LongestWait = 1'000'000'000;

}  // namespace

ZOVSocketConnection::ZOVSocketConnection(std::uint16_t port, const char* name)
    : ZOVSocketConnection(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0), port, name) {}

ZOVSocketConnection::ZOVSocketConnection(int socket, std::uint16_t port, const char* name)
    : ZOVSocketConnection(std::make_unique<zov::TcpStream>(socket), port, name) {}

ZOVSocketConnection::ZOVSocketConnection(std::unique_ptr<zov::Stream>&& stream, std::uint16_t port,
                                         const char* name)
    : _port(port),
      _valid(stream->descriptor() >= 0),
      _lastRC(_valid ? ZOVReturnCode(ZOV_OK) : determineError()) {
  ZOV_TRACE(Public);
  if (_valid) zov::Stream::clearLastError();
  _address.sin_family = AF_INET;
  _address.sin_port = htons(port);
  _address.sin_addr.s_addr = DefaultAddress;
  setConnectionName(name ? name : "**unknown**");
  _stream = std::move(stream);
  setProgressLimit(zovWaits().transferProgressSeconds);
}

ZOVSocketConnection::~ZOVSocketConnection() {
  ZOV_TRACE(Public);
  if (getSocket() < 0) return;
  DGT1_Printf(traceUnit, DGT1_DETAIL, "Socket %X %s being shut down", getSocket(),
              _connectionNameLocal.data());
}

void ZOVSocketConnection::setConnectionName(const char* utf8Text) {
  ZOV_TRACE(Public);
  _connectionName = RWCString(utf8Text);
  _connectionNameLocal = ZOVUTF8Handler(_connectionName)
                             .convertToSBLocalString(ZOVUTF8Handler::defaultMBSubstituteString.data());
}

void ZOVSocketConnection::logFailure(const char* function, int line, const ZOVReturnCode& code) const {
  RWCString details;
  ZOVGetLastError(&details, getLastError());
  logFailure(function, line, code, details);
}

void ZOVSocketConnection::logFailure(const char* function, int line, const ZOVReturnCode& code,
                                     const RWCString& details) const {
  zov_detail::logError(traceUnit.tag(), function, line, ZOVA0079E, function, _connectionName,
                       code.getDescription(), details);
}

ZOVReturnCode ZOVSocketConnection::Send(const ZOVBuffer& buffer) {
  ZOV_TRACE(Public);
  const std::uint32_t length = htonl(static_cast<std::uint32_t>(buffer.length()));
  // Length and body leave together; else the body would wait for the peer to acknowledge the length.
  const ZOVReturnCode code =
      _stream->send({reinterpret_cast<const char*>(&length), sizeof length}, buffer.view());
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
  rc = _stream->waitReadable(timeout != 0 ? deadlineIn(timeout) : std::nullopt);
  if (rc != ZOV_OK) {
    DGT1_Printf(traceUnit, DGT1_DETAIL, "Bad return code from receive %i Name = %s", unsigned{rc},
                _connectionNameLocal.data());
    return nullptr;
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
    if (rc == ZOV_SOCKET_TOO_LONG || rc == ZOV_OUT_OF_STORAGE) return nullptr;  // told already
    if (required != DoNotLogTimeout || rc != ZOV_SOCKET_TIMED_OUT) logFailure("Receive", __LINE__, rc);
    return nullptr;
  }
  return bufferOf(std::move(body));
}

std::unique_ptr<ZOVBuffer> ZOVSocketConnection::bufferOf(std::string body) {
  if (traceUnit.on(DGT1_DETAIL)) {
    SnapHex(traceUnit, body.data(), body.size(),
            DGT1_FormatText("Data received from socket %s", _connectionNameLocal.data()).c_str());
  }
  return std::make_unique<ZOVBuffer>(*this, RWCString(std::move(body)));
}

std::unique_ptr<ZOVBuffer> ZOVSocketConnection::receiveArrived(ZOVReturnCode& rc, const ZOVBudget& most) {
  ZOV_TRACE(Public);
  std::uint32_t length = 0;
  bool complete = false;
  rc = completeArrived(sizeof length, complete);
  if (rc == ZOV_OK && complete) {
    std::memcpy(&length, _arrived.data(), sizeof length);
    length = ntohl(length);
    if (length > most.bytes) {
      rc = refuseBody(ZOV_SOCKET_TOO_LONG, length, most);
      return nullptr;
    }
    rc = completeArrived(sizeof length + length, complete);
  }
  if (rc != ZOV_OK) logFailure("Receive", __LINE__, rc);
  if (rc != ZOV_OK || !complete) return nullptr;
  return bufferOf(std::exchange(_arrived, {}).substr(sizeof length));
}

/// Adds to what has arrived until it has this size, or nothing more is there.
ZOVReturnCode ZOVSocketConnection::completeArrived(std::size_t size, bool& complete) {
  ZOVReturnCode code;
  while (code == ZOV_OK && _arrived.size() < size) {
    const std::size_t had = _arrived.size();
    std::size_t received = 0;
    _arrived.resize(size);
    code = _stream->receiveArrived(_arrived.data() + had, size - had, received);
    _arrived.resize(had + received);
    if (received == 0) break;
  }
  complete = _arrived.size() >= size;
  return code;
}

ZOVReturnCode ZOVSocketConnection::receiveBody(std::string& body, std::uint32_t length) {
  const ZOVBudget& most = zovBudgets().frame;
  if (length > most.bytes) return refuseBody(ZOV_SOCKET_TOO_LONG, length, most);
  _frameMemory.clear();
  ZOVReturnCode code = ZOV_OK;
  while (code == ZOV_OK && body.size() < length) {
    const std::size_t had = body.size();
    const std::size_t step = std::min<std::size_t>(length - had, ReceiveStep);
    if (length > ReceiveStep) {
      if (const ZOVBudget* const full = _frameMemory.charge(step)) {
        return refuseBody(ZOV_OUT_OF_STORAGE, length, *full);
      }
    }
    body.resize(had + step);
    code = receiveInto(body.data() + had, step);
  }
  return code;
}

ZOVReturnCode ZOVSocketConnection::refuseBody(ZOVReturnCode code, std::size_t length,
                                              const ZOVBudget& budget) const {
  const std::string details =
      DGT1_FormatText("%u bytes announced, over the limit of %u for %s", length, budget.bytes, budget.what);
  logFailure("Receive", __LINE__, code, RWCString(details));
  return code;
}

ZOVReturnCode ZOVSocketConnection::sendFrom(const char* bytes, std::size_t count) {
  return _stream->send({bytes, count});
}

ZOVReturnCode ZOVSocketConnection::receiveInto(char* bytes, std::size_t count) {
  return _stream->receive(bytes, count);
}

zov::Stream::Deadline ZOVSocketConnection::deadlineIn(long seconds) {
  return ZOVClock::steady() + std::chrono::seconds(std::clamp(seconds, 0L, LongestWait));
}

ZOVReturnCode ZOVSocketConnection::waitForSocketOrTimeout(long seconds) {
  ZOV_TRACE(Restricted);
  return _stream->waitReadable(deadlineIn(seconds));
}

ZOVReturnCode ZOVSocketConnection::testConnection() {
  ZOV_TRACE(Public);
  const ZOVReturnCode code = waitForSocketOrTimeout(0);
  return code == ZOV_SOCKET_TIMED_OUT ? ZOVReturnCode(ZOV_OK) : code;
}

void ZOVSocketConnection::setProgressLimit(long seconds) {
  using Limit = std::optional<std::chrono::seconds>;
  _stream->setProgressLimit(seconds > 0 ? Limit(std::min(seconds, LongestWait)) : std::nullopt);
}

void ZOVSocketConnection::shutdownSocket() {
  ZOV_TRACE(Public);
  _stream->shutDown();
}
