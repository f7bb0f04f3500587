#include "transport/server_socket.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <optional>
#include <utility>

#include "platform/trace.h"
#include "runtime/recovery.h"
#include "runtime/trace_scope.h"
#include "transport/tcp_stream.h"

static DGT1_Unit traceUnit("ZOVCSRVS");

namespace {

/// A signal, a client that is gone again, and what the network reports of a new connection are no failures of
/// the listening socket.
bool concernsClientOnly(int error) {
  constexpr int Errors[] = {EINTR,       EAGAIN,    ECONNABORTED, EPROTO,      EPERM,     ENETDOWN,
                            ENETUNREACH, EHOSTDOWN, EHOSTUNREACH, ENOPROTOOPT, ETIMEDOUT, ENONET};
  return std::ranges::find(Errors, error) != std::end(Errors);
}

}  // namespace

ZOVServerSocket::ZOVServerSocket(const char* address, std::uint16_t port, const char* name, int backlog)
    : ZOVSocketConnection(port, name), _allSocketsLock("AllSocketsLock") {
  ZOV_TRACE(Public);
  if (!_valid || open(address, backlog)) return;
  fail(determineError());
  logFailure("bind or listen", __LINE__, getLastRC());
}

/// False with the reason in errno.
bool ZOVServerSocket::open(const char* address, int backlog) {
  _address.sin_addr.s_addr = INADDR_ANY;
  if (address && *address) {
    _address.sin_addr.s_addr = ::inet_addr(address);
    if (_address.sin_addr.s_addr == INADDR_NONE) {
      // The system would take it for everybody's address, and hear nobody.
      errno = EADDRNOTAVAIL;
      return false;
    }
  }
  // A client that is gone again between the poll and the accept must not block it.
  if (::fcntl(getSocket(), F_SETFL, O_NONBLOCK) != 0) return false;
  // The last connections of an agent that was killed still occupy the port. Two that listen cannot share it.
  const int on = 1;
  if (::setsockopt(getSocket(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) != 0) return false;
  socklen_t size = sizeof _address;
  _wakeEvent = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  if (_wakeEvent < 0 || ::bind(getSocket(), reinterpret_cast<const sockaddr*>(&_address), size) != 0 ||
      ::listen(getSocket(), backlog) != 0 ||
      ::getsockname(getSocket(), reinterpret_cast<sockaddr*>(&_address), &size) != 0) {
    return false;
  }
  _port = ntohs(_address.sin_port);
  return true;
}

ZOVServerSocket::~ZOVServerSocket() {
  ZOV_TRACE(Public);
  shutdownAll();
  if (_wakeEvent >= 0) ::close(_wakeEvent);
}

std::shared_ptr<ZOVSocketConnection> ZOVServerSocket::clientAccept(ZOVReturnCode& rc, long timeout) {
  ZOV_TRACE(Public);
  int accepted = -1;
  do {
    rc = waitForClient(timeout);
    if (rc != ZOV_OK) return nullptr;
    accepted = ::accept4(getSocket(), nullptr, nullptr, SOCK_CLOEXEC);
  } while (accepted < 0 && concernsClientOnly(errno));
  if (accepted < 0) {
    rc = determineError();
    if (isShutDown()) rc = ZOV_SOCKET_CLOSED;
    return nullptr;
  }
  zov::keepAlive(accepted);
  std::unique_ptr<zov::Stream> stream = std::make_unique<zov::TcpStream>(accepted);
  std::shared_ptr<ZOVSocketConnection> connection;
  const auto failure = guarded(ZOV_PLACE, [&] {
    connection = std::make_shared<ZOVSocketConnection>(std::move(stream), _port, nullptr);
    const zov::ExclusiveLock scope(_allSocketsLock);
    _allSockets.push_back(connection);
    if (_shutDown) connection->shutdownSocket();
  });
  if (failure) {
    stream.reset();
    connection.reset();
    rc = failure->getReturnCode();
    zovRaise(*failure);
  }
  return connection;
}

ZOVReturnCode ZOVServerSocket::waitForClient(long timeout) {
  const zov::Stream::Deadline deadline = timeout == 0 ? std::nullopt : deadlineIn(timeout);
  for (;;) {
    if (isShutDown()) return ZOV_SOCKET_CLOSED;
    pollfd watched[] = {{getSocket(), POLLIN, 0}, {_wakeEvent, POLLIN, 0}};
    if (const ZOVReturnCode code = zov::pollUntil(watched, deadline)) return code;
    if (watched[1].revents != 0 && !takeWake()) return ZOV_SOCKET_CLOSED;
    if (watched[0].revents != 0) return ZOV_OK;
  }
}

void ZOVServerSocket::wake() {
  if (_wakeEvent >= 0) ::eventfd_write(_wakeEvent, 1);
}

bool ZOVServerSocket::takeWake() {
  eventfd_t wakes;
  ::eventfd_read(_wakeEvent, &wakes);
  return !isShutDown();
}

bool ZOVServerSocket::isShutDown() {
  const zov::SharedLock scope(_allSocketsLock);
  return _shutDown;
}

void ZOVServerSocket::deleteSocket(const ZOVSocketConnection* connection) {
  ZOV_TRACE(Public);
  std::shared_ptr<ZOVSocketConnection> found;
  {
    const zov::ExclusiveLock scope(_allSocketsLock);
    const auto place = std::ranges::find(_allSockets, connection, &std::shared_ptr<ZOVSocketConnection>::get);
    if (place == _allSockets.end()) return;
    found = std::move(*place);
    *place = std::move(_allSockets.back());
    _allSockets.pop_back();
  }
  found->shutdownSocket();
}

void ZOVServerSocket::shutdownAll() {
  ZOV_TRACE(Public);
  const zov::ExclusiveLock scope(_allSocketsLock);
  if (std::exchange(_shutDown, true)) return;
  shutdownSocket();
  for (const auto& connection : _allSockets) connection->shutdownSocket();
  wake();
}

std::size_t ZOVServerSocket::getNumConnections() {
  const zov::SharedLock scope(_allSocketsLock);
  return _allSockets.size();
}
