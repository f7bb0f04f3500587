#pragma once
// NotifySocket: a service manager's end of the notifications, at a path of its own.

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <string>

#include "support/temporary_directory.h"

class NotifySocket {
 public:
  NotifySocket() : _socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path().copy(address.sun_path, sizeof address.sun_path - 1);
    if (::bind(_socket, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) std::abort();
    const timeval limit{30, 0};
    ::setsockopt(_socket, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
  }
  ~NotifySocket() { ::close(_socket); }
  NotifySocket(const NotifySocket&) = delete;
  NotifySocket& operator=(const NotifySocket&) = delete;

  std::string path() const { return _directory.file("notify"); }
  /// The next message; with `wait` after at most 30 seconds, else what is there. Empty when there is none.
  std::string receive(bool wait = true) const {
    char text[512];
    const ssize_t length = ::recv(_socket, text, sizeof text, wait ? 0 : MSG_DONTWAIT);
    return length < 0 ? "" : std::string(text, static_cast<std::size_t>(length));
  }
  /// Takes messages until one is `wanted`; false when 30 seconds bring none.
  bool waitFor(const std::string& wanted) const {
    for (std::string message = receive(); !message.empty(); message = receive()) {
      if (message == wanted) return true;
    }
    return false;
  }

 private:
  TemporaryDirectory _directory;
  const int _socket;
};
