#include "peer.h"

#include <fmt/format.h>
#include <netinet/in.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

namespace zov::storm {

namespace {

constexpr int PingType = 1, PollType = 2, ResponseType = 5, StatisticsJVMType = 42;
constexpr int NoProcess = 43;  // why a statistics JVM is refused
constexpr int StatusKey = 14, Accepted = 2;
constexpr int RequestSampleType = 31, EndSampleType = 998;
constexpr auto HalfClosedSpan = std::chrono::seconds(5);
constexpr std::size_t LongestFrame = 1 << 20;  // that the agent sends to a collector

}  // namespace

Peer::Peer(Field& field, Clock::duration life, Leaving leaving)
    : _field(field),
      _leaving(leaving),
      _lifeEnds(field.now + life),
      _socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)) {
  ++_field.weather.connections;
  ++_field.weather.opened;
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(field.port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  const int rc = ::connect(_socket, reinterpret_cast<sockaddr*>(&address), sizeof address);
  if (rc != 0 && errno != EINPROGRESS) _over = true;
}

Peer::~Peer() {
  ::close(_socket);
  --_field.weather.connections;
}

std::uint32_t Peer::interest() const {
  std::uint32_t events = 0;
  if (_reading && _connected) events |= EPOLLIN;
  if (!_connected || backlog() > 0) events |= EPOLLOUT;
  return events;
}

void Peer::ready(std::uint32_t events) {
  if (_over) return;
  if (!_connected && (events & (EPOLLERR | EPOLLHUP)) == 0 && (events & EPOLLOUT)) {
    _connected = true;
    connected();
  }
  if (backlog() > 0) flush();
  // An error is found by reading, also where the peer would not read.
  if (events & (EPOLLIN | EPOLLERR | EPOLLHUP)) read();
}

void Peer::turn() {
  if (_over) return;
  if (_field.now >= _lifeEnds) return _halfClosed ? end() : leave();
  if (!_halfClosed) tick();
  flush();
}

void Peer::sendBytes(std::string_view bytes) {
  if (_over || _halfClosed) return;
  _out.append(bytes);
  flush();
}

void Peer::flush() {
  while (_connected && backlog() > 0) {
    const ssize_t n = ::send(_socket, _out.data() + _sent, backlog(), MSG_NOSIGNAL);
    if (n < 0) {
      if (errno != EAGAIN && errno != EINTR) read();  // tells why
      return;
    }
    _sent += static_cast<std::size_t>(n);
  }
  if (backlog() == 0) _out.clear(), _sent = 0;
}

void Peer::read() {
  char chunk[16384];
  while (!_over) {
    const ssize_t n = ::recv(_socket, chunk, sizeof chunk, 0);
    if (n < 0 && (errno == EAGAIN || errno == EINTR)) return;
    if (n <= 0) {
      if (!_halfClosed) cutOff();
      return end();
    }
    _in.append(chunk, static_cast<std::size_t>(n));
    takeFrames();
  }
}

void Peer::takeFrames() {
  while (_in.size() >= 4 && !_over) {
    std::size_t length = 0;
    for (int i = 0; i < 4; ++i)
      length = length << 8 | static_cast<unsigned char>(_in[static_cast<std::size_t>(i)]);
    if (length > LongestFrame) {
      cutOff();
      return end();
    }
    if (_in.size() < 4 + length) return;
    const WireMessage message(_in.substr(4, length));
    _in.erase(0, 4 + length);
    if (!_halfClosed) received(message);
  }
}

void Peer::leave() {
  if (_leaving == Leaving::HalfClose && _connected && !_halfClosed) {
    ::shutdown(_socket, SHUT_WR);
    _halfClosed = true;
    _out.clear(), _sent = 0;
    _lifeEnds = _field.now + HalfClosedSpan;
    return;
  }
  if (_leaving == Leaving::Reset) {
    const linger atOnce{1, 0};
    ::setsockopt(_socket, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
  }
  end();
}

void Peer::end() {
  _over = true;
}

Collector::Collector(Field& itsField, Clock::duration life, Leaving leaving, Identity identity)
    : Peer(itsField, life, leaving), _identity(std::move(identity)) {}

Collector::~Collector() {
  if (!_answered) ++field().weather.unanswered;
}

WireFrame Collector::hello() const {
  return wirePing(1, _identity.name, "/srv/" + _identity.name, _identity.processId);
}

void Collector::connected() {
  send(hello());
}

void Collector::received(const WireMessage& message) {
  if (message.dataType != 1) return;
  if (message.subtype == ResponseType) {
    if (!_answered) greeted(message.number(StatusKey) == Accepted);
    _answered = true;
  } else if (message.subtype == PollType) {
    polled();
  } else if (message.subtype == PingType) {
    pinged(message);
  } else {
    asked(message);
  }
}

void Collector::asked(const WireMessage& request) {
  const bool refused = request.subtype == StatisticsJVMType && _identity.processId / 2 % 2 == 0;
  send(wireResponse(request.correlator(), !refused, refused ? NoProcess : 0));
}

void Collector::greeted(bool accepted) {
  ++(accepted ? field().weather.accepted : field().weather.refused);
  if (!accepted) leave();
}

void Collector::answerPoll() {
  for (int i = 0; i < 5; ++i) send(requestSample(i, "shop", fmt::format("/request{}", i)));
  send(endOfSamples());
}

WireFrame requestSample(int number, std::string_view application, std::string_view request) {
  // Seconds and milliseconds covered, requests, their time and the longest, application and request.
  return wireSample(RequestSampleType)
      .number(21, 5)
      .number(314, 5000)
      .number(703, 10 + number % 7)
      .number(704, 340)
      .number(705, 90)
      .text(701, application)
      .text(702, request);
}

WireFrame endOfSamples() {
  return wireSample(EndSampleType);
}

}  // namespace zov::storm
