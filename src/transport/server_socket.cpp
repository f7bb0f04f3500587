#include "transport/server_socket.h"

#include <arpa/inet.h>
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
  socklen_t size = sizeof _address;
  _wakeEvent = ::eventfd(0, EFD_CLOEXEC);
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
    // A signal, or a client that is gone again, is no failure of the listening socket.
  } while (accepted < 0 && (errno == EINTR || errno == ECONNABORTED));
  if (accepted < 0) {
    rc = determineError();
    return nullptr;
  }
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

/// Waits for the listening descriptor, the wake event and the peers of ownerless connections in one.
ZOVReturnCode ZOVServerSocket::waitForClient(long timeout) {
  const zov::Stream::Deadline deadline = timeout == 0 ? std::nullopt : deadlineIn(timeout);
  std::vector<pollfd> watched;
  for (;;) {
    watched.assign({{getSocket(), POLLIN, 0}, {_wakeEvent, POLLIN, 0}});
    for (const auto& connection : _ownerless) watched.push_back({connection->getSocket(), POLLRDHUP, 0});
    if (const ZOVReturnCode code = zov::pollUntil(watched, deadline)) return code;
    if (watched[1].revents != 0) return ZOV_SOCKET_CLOSED;
    deleteClosedPeers(watched);
    if (watched[0].revents != 0) return ZOV_OK;
  }
}

void ZOVServerSocket::deleteClosedPeers(std::span<const pollfd> watched) {
  std::vector<std::shared_ptr<ZOVSocketConnection>> left;
  for (std::size_t i = 0; i < _ownerless.size(); ++i) {
    if (watched[i + 2].revents != 0) {
      deleteSocket(_ownerless[i].get());
    } else {
      left.push_back(std::move(_ownerless[i]));
    }
  }
  _ownerless.swap(left);
}

void ZOVServerSocket::waitForShutdown() {
  ZOV_TRACE(Public);
  while (waitForClient(0) == ZOV_OK) {
  }
}

void ZOVServerSocket::abandon(const std::shared_ptr<ZOVSocketConnection>& connection) {
  ZOV_TRACE(Public);
  _ownerless.push_back(connection);
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

void ZOVServerSocket::closeListening() {
  ZOV_TRACE(Public);
  const zov::ExclusiveLock scope(_allSocketsLock);
  _stream = std::make_unique<zov::TcpStream>(-1);
  _valid = false;
}

void ZOVServerSocket::shutdownAll() {
  ZOV_TRACE(Public);
  const zov::ExclusiveLock scope(_allSocketsLock);
  if (std::exchange(_shutDown, true)) return;
  shutdownSocket();
  for (const auto& connection : _allSockets) connection->shutdownSocket();
  if (_wakeEvent >= 0) ::eventfd_write(_wakeEvent, 1);
}

std::size_t ZOVServerSocket::getNumConnections() {
  const zov::SharedLock scope(_allSocketsLock);
  return _allSockets.size();
}
