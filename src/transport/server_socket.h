#pragma once
// ZOVServerSocket: a listening socket, with the connections that it accepted. It holds a reference to each
// until deleteSocket; a connection's user holds another.
//
// One thread accepts (the listener's); deleteSocket, wake and shutdownAll may be called by any.
// AllSocketsLock guards the list, with no other lock taken inside it.

#include <memory>
#include <vector>

#include "runtime/lock.h"
#include "transport/socket_connection.h"

class ZOVServerSocket : public ZOVSocketConnection {
 public:
  /// Binds and listens, also where connections of a former listener still linger; another that listens keeps
  /// the port. `address` is dotted, or empty for all interfaces; port 0 takes any free one, told by getPort.
  /// isValid and getLastRC tell how it went; ZOVA0079E is logged when it did not go well.
  ZOVServerSocket(const char* address, std::uint16_t port, const char* name, int backlog);
  ~ZOVServerSocket() override;

  /// The next connection, or null with the reason in `rc`: 30 when none came within `timeout` seconds (0: no
  /// limit), 33 after shutdownAll, else why accept failed. What fails with the client alone is passed over.
  std::shared_ptr<ZOVSocketConnection> clientAccept(ZOVReturnCode& rc, long timeout);
  /// Removes the connection from the list, shuts it down and drops the reference. Null, or a connection that
  /// is not in the list, is nothing.
  void deleteSocket(const ZOVSocketConnection* connection);
  /// Makes wakeDescriptor readable, until the accepting thread has taken it.
  void wake();
  int wakeDescriptor() const { return _wakeEvent; }
  /// False when the server socket has been shut down.
  bool takeWake();
  /// Ends accepting, and shuts down every connection, those that are being accepted too; whoever is blocked
  /// on one of them wakes.
  void shutdownAll();
  std::size_t getNumConnections();

 private:
  bool open(const char* address, int backlog);
  ZOVReturnCode waitForClient(long timeout);
  bool isShutDown();

  ZOVLock _allSocketsLock;
  std::vector<std::shared_ptr<ZOVSocketConnection>> _allSockets ZOV_GUARDED_BY(_allSocketsLock);
  bool _shutDown ZOV_GUARDED_BY(_allSocketsLock) = false;
  int _wakeEvent = -1;  // eventfd
};
