#pragma once
// zov::Peer: who is at the other end of a connection that was accepted. Of a process on this host the kernel
// tells the user, over netlink (sock_diag), which needs no rights. Nothing here raises; any thread may call.

#include <sys/types.h>

#include <optional>
#include <string>

namespace zov {

struct Peer {
  bool onThisHost = true;
  /// Of a peer on this host. None: the kernel does not tell, or the process that connected has let go of its
  /// socket.
  std::optional<uid_t> user;
  std::string address;  ///< dotted; empty when the connection has gone

  std::string text() const;  ///< for messages: "user 1000", "host 192.0.2.7"
};

/// The peer of a connected IPv4 socket.
Peer findPeer(int socket);

}  // namespace zov
