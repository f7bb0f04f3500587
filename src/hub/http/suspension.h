#pragma once
// A connection that waits.

#include <microhttpd.h>
#include <sys/socket.h>

namespace zov::hub {

/// The socket of a connection.
inline int socketOf(MHD_Connection* connection) {
  const auto* const info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD);
  return info == nullptr ? -1 : info->connect_fd;
}

/// Holds up a connection of libmicrohttpd, whose thread begins it; any thread ends it. Until then the
/// connection is not closed. The mutex of its owner guards it; libmicrohttpd's own is taken under that.
class Suspension {
 public:
  explicit Suspension(MHD_Connection* connection) : _connection(connection), _socket(socketOf(connection)) {}

  bool active() const { return _active; }
  void begin() {
    MHD_suspend_connection(_connection);
    _active = true;
  }
  /// Only while active. libmicrohttpd's thread goes on with the connection.
  void end() {
    _active = false;
    MHD_resume_connection(_connection);
  }
  /// Ends the connection, whether it waits or not. It must not be suspended again.
  void cut() {
    if (_gone) return;
    _cut = true;
    ::shutdown(_socket, SHUT_RDWR);
    if (_active) end();
  }
  bool isCut() const { return _cut; }

  /// The connection has gone; to be called before its socket is closed.
  void forget() {
    _active = false;
    _gone = true;
  }

 private:
  MHD_Connection* const _connection;
  const int _socket;
  bool _active = false;
  bool _cut = false;
  bool _gone = false;
};

}  // namespace zov::hub
