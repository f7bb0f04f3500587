#pragma once
// A connection that waits.

#include <microhttpd.h>

namespace zov::hub {

/// Holds up a connection of libmicrohttpd, whose thread begins it; any thread ends it. Until then the
/// connection is not closed. The mutex of its owner guards it; libmicrohttpd's own is taken under that.
class Suspension {
 public:
  explicit Suspension(MHD_Connection* connection) : _connection(connection) {}

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

  /// The connection has gone.
  void forget() { _active = false; }

 private:
  MHD_Connection* const _connection;
  bool _active = false;
};

}  // namespace zov::hub
