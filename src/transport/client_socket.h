#pragma once
// ZOVClientSocket: a connection made outward.

#include "transport/socket_connection.h"

class ZOVClientSocket : public ZOVSocketConnection {
 public:
  /// Connects to the port at `address` (network order). isValid and getLastRC tell how it went; nothing is
  /// logged.
  ZOVClientSocket(std::uint16_t port, const char* name, in_addr_t address);
};
