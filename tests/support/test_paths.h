#pragma once
// Ports and names for tests that start an agent.

#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <cstdint>
#include <string>

#include "support/temporary_directory.h"

/// A listening socket on loopback; its port is free for others once it is gone.
class PortHolder {
 public:
  PortHolder() : _socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    ::bind(_socket, reinterpret_cast<sockaddr*>(&address), size);
    ::getsockname(_socket, reinterpret_cast<sockaddr*>(&address), &size);
    ::listen(_socket, 1);
    _port = ntohs(address.sin_port);
  }
  ~PortHolder() { ::close(_socket); }
  PortHolder(const PortHolder&) = delete;
  PortHolder& operator=(const PortHolder&) = delete;
  std::uint16_t port() const { return _port; }

 private:
  int _socket;
  std::uint16_t _port = 0;
};
inline std::uint16_t freePort() {
  return PortHolder().port();
}

inline std::string shortHostName() {
  utsname name;
  ::uname(&name);
  const std::string node = name.nodename;
  return node.substr(0, node.find('.'));
}
