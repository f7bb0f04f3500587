#pragma once
// zov::ServerOwner: the user of this host whom a server belongs to: the first who has brought it. He, root
// and the agent's own user may bring it again; everybody may while nobody owns it, also from other hosts,
// which makes no owner. Set once; any thread may call.

#include <sys/types.h>

#include <atomic>
#include <cstdint>
#include <optional>

#include "config/collector_users.h"
#include "transport/peer.h"

namespace zov {

class ServerOwner {
 public:
  explicit ServerOwner(std::optional<uid_t> user) : _user(user ? std::int64_t{*user} : Nobody) {}

  std::optional<uid_t> get() const {
    const std::int64_t user = _user;
    return user == Nobody ? std::nullopt : std::optional(static_cast<uid_t>(user));
  }
  bool admits(const Peer& peer) const {
    const std::optional<uid_t> owner = get();
    return !owner || (peer.user && (*peer.user == *owner || CollectorUsers::isPrivileged(*peer.user)));
  }
  /// True when the peer's user has become the owner.
  bool claim(const Peer& peer) {
    std::int64_t nobody = Nobody;
    return peer.user && _user.compare_exchange_strong(nobody, std::int64_t{*peer.user});
  }

 private:
  static constexpr std::int64_t Nobody = -1;
  std::atomic<std::int64_t> _user;
};

}  // namespace zov
