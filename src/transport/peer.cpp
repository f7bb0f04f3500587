#include "transport/peer.h"

#include <arpa/inet.h>
#include <linux/inet_diag.h>
#include <linux/netlink.h>
#include <linux/sock_diag.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>

namespace zov {

namespace {

constexpr std::uint32_t LoopbackNetwork = 127;

using Name = int (*)(int, sockaddr*, socklen_t*);

bool readAddress(Name name, int socket, sockaddr_in& address) {
  socklen_t size = sizeof address;
  return name(socket, reinterpret_cast<sockaddr*>(&address), &size) == 0 && address.sin_family == AF_INET;
}

bool isOnThisHost(const sockaddr_in& peer, const sockaddr_in& own) {
  return ntohl(peer.sin_addr.s_addr) >> 24 == LoopbackNetwork || peer.sin_addr.s_addr == own.sin_addr.s_addr;
}

/// The peer's socket: its own address is the peer's, and its peer's is ours. A socket of IPv6 with a mapped
/// address is found by this too.
inet_diag_req_v2 makeRequest(const sockaddr_in& peer, const sockaddr_in& own) {
  inet_diag_req_v2 request{};
  request.sdiag_family = AF_INET;
  request.sdiag_protocol = IPPROTO_TCP;
  request.idiag_states = ~0U;
  request.id.idiag_sport = peer.sin_port;
  request.id.idiag_dport = own.sin_port;
  request.id.idiag_src[0] = peer.sin_addr.s_addr;
  request.id.idiag_dst[0] = own.sin_addr.s_addr;
  request.id.idiag_cookie[0] = request.id.idiag_cookie[1] = INET_DIAG_NOCOOKIE;
  return request;
}

/// A socket without an inode belongs to no process any more, and reads as root's. A listening one is not the
/// peer's: the kernel falls back on it when the connection has gone.
std::optional<uid_t> userOf(const inet_diag_msg& found, const sockaddr_in& own) {
  if (found.idiag_inode == 0 || found.idiag_state == TCP_LISTEN || found.id.idiag_dport != own.sin_port)
    return {};
  return found.idiag_uid;
}

std::optional<uid_t> exchange(int netlink, const inet_diag_req_v2& request, const sockaddr_in& own) {
  struct {
    nlmsghdr header;
    inet_diag_req_v2 request;
  } question{};
  question.header.nlmsg_len = sizeof question;
  question.header.nlmsg_type = SOCK_DIAG_BY_FAMILY;
  question.header.nlmsg_flags = NLM_F_REQUEST;
  question.request = request;
  if (::send(netlink, &question, sizeof question, 0) != static_cast<ssize_t>(sizeof question)) return {};
  alignas(nlmsghdr) char bytes[1024];
  const ssize_t count = ::recv(netlink, bytes, sizeof bytes, MSG_DONTWAIT);  // the kernel has answered by now
  nlmsghdr header;
  inet_diag_msg found;
  if (count < static_cast<ssize_t>(NLMSG_LENGTH(sizeof found))) return {};
  std::memcpy(&header, bytes, sizeof header);
  if (header.nlmsg_type != SOCK_DIAG_BY_FAMILY) return {};
  std::memcpy(&found, bytes + NLMSG_HDRLEN, sizeof found);
  return userOf(found, own);
}

std::optional<uid_t> askKernel(const sockaddr_in& peer, const sockaddr_in& own) {
  const int netlink = ::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_SOCK_DIAG);
  if (netlink < 0) return {};
  const std::optional<uid_t> user = exchange(netlink, makeRequest(peer, own), own);
  ::close(netlink);
  return user;
}

}  // namespace

std::string Peer::text() const {
  if (!onThisHost) return "host " + address;
  return user ? "user " + std::to_string(*user) : "an unknown user";
}

Peer findPeer(int socket) {
  sockaddr_in peer{};
  sockaddr_in own{};
  if (!readAddress(::getpeername, socket, peer) || !readAddress(::getsockname, socket, own)) return {};
  char dotted[INET_ADDRSTRLEN] = "";
  ::inet_ntop(AF_INET, &peer.sin_addr, dotted, sizeof dotted);
  if (!isOnThisHost(peer, own)) return {.onThisHost = false, .user = {}, .address = dotted};
  const std::optional<uid_t> user = askKernel(peer, own);
  // A connection that was reset meanwhile may have left its address to another one.
  if (!readAddress(::getpeername, socket, peer)) return {};
  return {.onThisHost = true, .user = user, .address = dotted};
}

}  // namespace zov
