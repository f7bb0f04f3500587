#include "transport/tcp_stream.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <iterator>

#include "runtime/waits.h"

namespace zov {

namespace {

constexpr std::chrono::milliseconds LongestPoll = std::chrono::hours(1);  // then it looks at the time again
constexpr std::chrono::milliseconds BetweenLooks = std::chrono::seconds(1);  // whether there is a hurry

/// A transfer of 0 bytes; no errno goes with it.
ZOVReturnCode peerClosed() {
  errno = 0;
  Stream::clearLastError();
  return ZOV_SOCKET_TERMINATED;
}

/// 0 when the transfer can go on once the descriptor is ready: it is not yet, or a signal has come between.
ZOVReturnCode failureOfTransfer() {
  if (errno == EAGAIN) return ZOV_OK;
  const ZOVReturnCode code = Stream::determineError();
  return code == ZOV_SOCKET_INTERRUPTED ? ZOVReturnCode(ZOV_OK) : code;
}

}  // namespace

void keepAlive(int socket) {
  constexpr struct {
    int level, option, value;
  } Options[] = {{SOL_SOCKET, SO_KEEPALIVE, 1},
                 {IPPROTO_TCP, TCP_KEEPIDLE, 60},  // seconds
                 {IPPROTO_TCP, TCP_KEEPINTVL, 10},
                 {IPPROTO_TCP, TCP_KEEPCNT, 6}};
  for (const auto& [level, option, value] : Options)
    ::setsockopt(socket, level, option, &value, sizeof value);
}

ZOVReturnCode pollUntil(std::span<pollfd> watched, Stream::Deadline deadline) {
  for (;;) {
    auto left = LongestPoll;
    if (deadline) left = std::chrono::ceil<std::chrono::milliseconds>(*deadline - ZOVClock::steady());
    const auto limit = std::clamp(left, std::chrono::milliseconds(0), LongestPoll);
    const int ready = ::poll(watched.data(), watched.size(), static_cast<int>(limit.count()));
    if (ready > 0) return ZOV_OK;
    if (ready == 0 && limit < LongestPoll) return ZOV_SOCKET_TIMED_OUT;
    if (ready == 0) continue;
    const ZOVReturnCode code = Stream::determineError();
    if (code != ZOV_SOCKET_INTERRUPTED) return code;
  }
}

TcpStream::~TcpStream() {
  if (_descriptor < 0) return;
  ::shutdown(_descriptor, SHUT_RDWR);
  ::close(_descriptor);
}

ZOVReturnCode TcpStream::waitReadable(Deadline deadline) {
  return _begin < _end ? ZOVReturnCode(ZOV_OK) : waitFor(POLLIN, deadline);
}

ZOVReturnCode TcpStream::waitFor(short events, Deadline deadline) const {
  if (_descriptor < 0) return ZOV_SOCKET_CLOSED;
  pollfd watched{_descriptor, events, 0};
  if (!mayBeHurried()) return pollUntil({&watched, 1}, deadline);
  // Reckoned in steps, since who is in a hurry may come while this waits.
  auto left = std::chrono::milliseconds::max();
  if (deadline) left = std::chrono::ceil<std::chrono::milliseconds>(*deadline - ZOVClock::steady());
  for (std::chrono::milliseconds rested{0};;) {
    const auto step = std::min(left, BetweenLooks);
    const ZOVReturnCode code = pollUntil({&watched, 1}, ZOVClock::steady() + step);
    left -= step;
    rested += step;
    const bool tooLong = isHurried() && rested >= std::chrono::seconds(zovWaits().hurriedProgressSeconds);
    if (code != ZOV_SOCKET_TIMED_OUT || left.count() <= 0 || tooLong) return code;
  }
}

ZOVReturnCode TcpStream::receive(char* bytes, std::size_t count, Deadline deadline) {
  for (;;) {
    const std::size_t taken = takeReadAhead(bytes, count);
    bytes += taken;
    count -= taken;
    if (count == 0) return ZOV_OK;
    std::size_t received = 0;
    ZOVReturnCode code;
    if (count >= ReadAheadSize) {
      code = receiveSome(bytes, count, received);
      bytes += received;
      count -= received;
    } else {
      code = readAhead();
      received = _end;
    }
    if (code == ZOV_OK && received == 0) code = waitFor(POLLIN, endOfRest(deadline));
    if (code != ZOV_OK) return code;
  }
}

ZOVReturnCode TcpStream::receiveArrived(char* bytes, std::size_t room, std::size_t& received) {
  ZOVReturnCode code;
  if (_begin == _end) code = readAhead();
  received = takeReadAhead(bytes, room);
  return code;
}

/// Fills the empty buffer with what has come.
ZOVReturnCode TcpStream::readAhead() {
  if (!_readAhead) _readAhead = std::make_unique_for_overwrite<char[]>(ReadAheadSize);
  _begin = _end = 0;
  return receiveSome(_readAhead.get(), ReadAheadSize, _end);
}

std::size_t TcpStream::takeReadAhead(char* bytes, std::size_t count) {
  const std::size_t taken = std::min(count, _end - _begin);
  if (taken > 0) std::memcpy(bytes, _readAhead.get() + _begin, taken);
  _begin += taken;
  return taken;
}

/// One call of the system. `received` is 0 behind a failure, and when nothing has come.
ZOVReturnCode TcpStream::receiveSome(char* bytes, std::size_t room, std::size_t& received) const {
  const ssize_t count = ::recv(_descriptor, bytes, room, MSG_DONTWAIT);
  if (count == 0) return peerClosed();
  if (count < 0) return failureOfTransfer();
  received = static_cast<std::size_t>(count);
  return ZOV_OK;
}

ZOVReturnCode TcpStream::send(std::string_view first, std::string_view second, Deadline deadline) {
  while (!first.empty() || !second.empty()) {
    iovec parts[] = {{const_cast<char*>(first.data()), first.size()},
                     {const_cast<char*>(second.data()), second.size()}};
    msghdr message{};
    message.msg_iov = parts;
    message.msg_iovlen = std::size(parts);
    const ssize_t sent = ::sendmsg(_descriptor, &message, MSG_NOSIGNAL | MSG_DONTWAIT);
    if (sent == 0) return peerClosed();
    if (sent < 0) {
      ZOVReturnCode code = failureOfTransfer();
      if (code == ZOV_OK) code = waitFor(POLLOUT, endOfRest(deadline));
      if (code != ZOV_OK) return code;
      continue;
    }
    const std::size_t ofFirst = std::min(first.size(), static_cast<std::size_t>(sent));
    first.remove_prefix(ofFirst);
    second.remove_prefix(static_cast<std::size_t>(sent) - ofFirst);
  }
  return ZOV_OK;
}

void TcpStream::shutDown() {
  if (_descriptor >= 0) ::shutdown(_descriptor, SHUT_RDWR);
}

}  // namespace zov
