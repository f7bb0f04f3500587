#pragma once
// ZOVServerSocket: a listening socket, with the connections that it accepted. It holds a reference to each
// until deleteSocket; a connection's user holds another.
//
// One thread accepts (the listener's); deleteSocket and shutdownAll may be called by any. AllSocketsLock
// guards the list and the listening descriptor's end, with no other lock taken inside it.
//
// A connection that has no owner is abandoned to the server socket: it stays open, unread, and is deleted
// once its peer has closed. That is looked after while clientAccept or waitForShutdown waits.

#include <memory>
#include <span>
#include <vector>

#include "runtime/lock.h"
#include "transport/socket_connection.h"

struct pollfd;

class ZOVServerSocket : public ZOVSocketConnection {
 public:
  /// Binds and listens. `address` is dotted, or empty for all interfaces; port 0 takes any free one, told by
  /// getPort. isValid and getLastRC tell how it went; ZOVA0079E is logged when it did not go well.
  ZOVServerSocket(const char* address, std::uint16_t port, const char* name, int backlog);
  ~ZOVServerSocket() override;

  /// The next connection, or null with the reason in `rc`: 30 when none came within `timeout` seconds (0: no
  /// limit), else why accept failed (after shutdownAll: at once).
  std::shared_ptr<ZOVSocketConnection> clientAccept(ZOVReturnCode& rc, long timeout);
  /// Removes the connection from the list, shuts it down and drops the reference. Null, or a connection that
  /// is not in the list, is nothing.
  void deleteSocket(const ZOVSocketConnection* connection);
  /// Called by the accepting thread.
  void abandon(const std::shared_ptr<ZOVSocketConnection>& connection);
  /// After an accept error: no new connections, while those that stand go on.
  void closeListening();
  /// Blocks until shutdownAll.
  void waitForShutdown();
  /// Ends accepting, and shuts down every connection, those that are being accepted too; whoever is blocked
  /// on one of them wakes.
  void shutdownAll();
  std::size_t getNumConnections();

 private:
  bool open(const char* address, int backlog);
  ZOVReturnCode waitForClient(long timeout);
  void deleteClosedPeers(std::span<const pollfd> watched);

  ZOVLock _allSocketsLock;
  std::vector<std::shared_ptr<ZOVSocketConnection>> _allSockets ZOV_GUARDED_BY(_allSocketsLock);
  bool _shutDown ZOV_GUARDED_BY(_allSocketsLock) = false;
  int _wakeEvent = -1;                                            // eventfd, readable for good once shut down
  std::vector<std::shared_ptr<ZOVSocketConnection>> _ownerless;   // the accepting thread's
};
