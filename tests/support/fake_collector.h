#pragma once
// FakeCollector: the other side of the agent's sockets, for tests: a real connection, a small language for
// frames, and a thread that plays a well-behaved collector. It has its own encoder and decoder, so that an
// error in the agent's is not mirrored here.
//
//   FakeCollector collector(port);
//   collector.send(wirePing(7, "server1", "/srv/shop"));
//   EXPECT_EQ(wireHex(collector.receiveBytes()), "00000038 ...");
//   collector.serve({wireSample(9).text(5, "Servlet").number(314, 12)});   // from now on, on a thread
//   auto poll = collector.waitForRequest(2);
//
// Reads give up after 30 seconds, so that a test fails instead of hanging.

#include <arpa/inet.h>
#include <linux/sockios.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "support/comes_true.h"

/// The bytes that hexadecimal digits stand for; blanks are skipped.
inline std::string wireBytes(std::string_view hex) {
  std::string bytes;
  int high = -1;
  for (const char c : hex) {
    if (c == ' ' || c == '\n') continue;
    const int digit = c <= '9' ? c - '0' : (c | 0x20) - 'a' + 10;
    if (high < 0) {
      high = digit;
    } else {
      bytes.push_back(static_cast<char>(high * 16 + digit)), high = -1;
    }
  }
  return bytes;
}

/// Upper-case hexadecimal without blanks.
inline std::string wireHex(std::string_view bytes) {
  std::string hex;
  for (const char c : bytes) {
    char two[3];
    std::snprintf(two, sizeof two, "%02X", static_cast<unsigned int>(static_cast<unsigned char>(c)));
    hex += two;
  }
  return hex;
}

/// A frame in the making; each call appends a field.
class WireFrame {
 public:
  WireFrame(int dataType, int subtype, int format = 2) { put(format, 2).put(dataType, 2).put(subtype, 4); }

  WireFrame& number(int key, long long value) { return put(1, 4).put(key, 4).put(value, 8); }
  WireFrame& text(int key, std::string_view value) { return textOfType(2, key, value); }
  /// A text field with any field type but 1.
  WireFrame& textOfType(int type, int key, std::string_view value) {
    return put(type, 4).put(key, 4).put(static_cast<long long>(value.size()), 4).raw(value);
  }
  WireFrame& raw(std::string_view bytes) { return _body.append(bytes), *this; }
  /// The low `width` bytes, most significant first.
  WireFrame& put(long long value, int width) {
    for (int shift = 8 * (width - 1); shift >= 0; shift -= 8) {
      _body.push_back(static_cast<char>(static_cast<unsigned long long>(value) >> shift));
    }
    return *this;
  }
  const std::string& body() const { return _body; }
  /// With its length in front; another length than the true one makes a frame that lies.
  std::string framed() const { return framed(static_cast<long long>(_body.size())); }
  std::string framed(long long length) const {
    std::string bytes;
    for (int shift = 24; shift >= 0; shift -= 8) bytes.push_back(static_cast<char>(length >> shift));
    return bytes + _body;
  }

 private:
  std::string _body;
};

inline WireFrame wireRequest(int type, long long correlator) {
  return WireFrame(1, type).number(13, correlator);
}
inline WireFrame wireSample(int type) {
  return WireFrame(2, type);
}
inline WireFrame wireResponse(long long correlator, bool accepted, long long value = 0,
                              std::string_view text = "") {
  WireFrame frame = wireRequest(5, correlator).number(14, accepted ? 2 : 1);
  if (value != 0) frame.number(15, value);
  if (!text.empty()) frame.text(28, text);
  return frame;
}
/// The hello of a data collector whose levels are accepted; further fields may be appended.
inline WireFrame wirePing(long long correlator, std::string_view name, std::string_view root,
                          long long processId = 4711, long long profilerLevel = 6005159,
                          long long workloadLevel = 6005164) {
  WireFrame frame = wireRequest(1, correlator).number(4, processId);
  if (profilerLevel != 0) frame.number(24, profilerLevel);
  if (workloadLevel != 0) frame.number(25, workloadLevel);
  return frame.text(5, name).text(38, root);
}

/// A frame that came from the agent, taken apart.
class WireMessage {
 public:
  explicit WireMessage(std::string body) : _body(std::move(body)) {
    format = static_cast<int>(take(2));
    dataType = static_cast<int>(take(2));
    subtype = static_cast<int>(take(4));
    while (_cursor < _body.size()) {
      const bool numeric = take(4) == 1;
      const int key = static_cast<int>(take(4));
      if (numeric) {
        numbers.emplace_back(key, take(8));
      } else {
        const std::size_t count = static_cast<std::size_t>(take(4));
        texts.emplace_back(key, _body.substr(std::min(_cursor, _body.size()), count));
        _cursor += count;
      }
    }
  }
  std::optional<long long> number(int key) const { return find(numbers, key); }
  std::optional<std::string> text(int key) const { return find(texts, key); }
  long long correlator() const { return number(13).value_or(0); }
  const std::string& body() const { return _body; }

  int format = 0;
  int dataType = 0;
  int subtype = 0;
  std::vector<std::pair<int, long long>> numbers;  // in their order
  std::vector<std::pair<int, std::string>> texts;

 private:
  template <class Value>
  static std::optional<Value> find(const std::vector<std::pair<int, Value>>& fields, int key) {
    for (const auto& [fieldKey, value] : fields) {
      if (fieldKey == key) return value;
    }
    return std::nullopt;
  }
  long long take(int width) {
    unsigned long long value = 0;
    for (int i = 0; i < width; ++i, ++_cursor) {
      value = value << 8 | (_cursor < _body.size() ? static_cast<unsigned char>(_body[_cursor]) : 0);
    }
    return static_cast<long long>(value);
  }

  std::string _body;
  std::size_t _cursor = 0;
};

class FakeCollector {
 public:
  explicit FakeCollector(std::uint16_t port, const char* to = "127.0.0.1")
      : _socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = ::inet_addr(to);
    _connected = ::connect(_socket, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    const timeval limit{30, 0};
    ::setsockopt(_socket, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    const int noDelay = 1;  // or each poll's second frame waits 40 ms for an acknowledgement
    ::setsockopt(_socket, IPPROTO_TCP, TCP_NODELAY, &noDelay, sizeof noDelay);
  }
  FakeCollector(const FakeCollector&) = delete;
  FakeCollector& operator=(const FakeCollector&) = delete;
  virtual ~FakeCollector() { close(); }

  bool connected() const { return _connected; }
  bool send(const WireFrame& frame) { return sendBytes(frame.framed()); }
  bool sendBytes(std::string_view bytes) {
    return ::send(_socket, bytes.data(), bytes.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size());
  }
  /// The next frame with its length; less, or nothing, when the agent closes or 30 seconds pass.
  std::string receiveBytes() {
    std::string frame = read(4);
    if (frame.size() < 4) return frame;
    std::size_t length = 0;
    for (const char c : frame) length = length << 8 | static_cast<unsigned char>(c);
    return frame + read(length);
  }
  std::optional<WireMessage> receive() {
    const std::string frame = receiveBytes();
    if (frame.size() < 4) return std::nullopt;
    return WireMessage(frame.substr(4));
  }
  /// True when the agent closed the connection without a further byte; blocks until it does either.
  bool closedByAgent() {
    char byte;
    const ssize_t count = ::recv(_socket, &byte, 1, 0);
    return count == 0 || (count < 0 && errno == ECONNRESET);
  }
  /// True when nothing waits to be read. For use behind something that the agent has done later.
  bool nothingReceived() {
    char byte;
    return ::recv(_socket, &byte, 1, MSG_DONTWAIT | MSG_PEEK) < 0 && errno == EAGAIN;
  }
  /// Waits until the agent's side has taken all that was sent; false when 30 seconds do not bring it.
  bool waitUntilTaken() {
    return comesTrue([&] {
      int left = 0;
      return ::ioctl(_socket, SIOCOUTQ, &left) == 0 && left == 0;
    });
  }
  void close() {
    if (_socket >= 0) ::shutdown(_socket, SHUT_RDWR);
    if (_thread.joinable()) _thread.join();
    if (_socket >= 0) ::close(std::exchange(_socket, -1));
  }

  /// Plays a collector from now on: requests are accepted, pings answered, and each poll is answered with the
  /// samples and the end marker.
  void serve(std::vector<WireFrame> samples = {}) {
    setSamples(std::move(samples));
    const timeval noLimit{0, 0};
    ::setsockopt(_socket, SOL_SOCKET, SO_RCVTIMEO, &noLimit, sizeof noLimit);
    _thread = std::thread([this] { serveUntilClosed(); });
  }
  /// What the next polls bring.
  void setSamples(std::vector<WireFrame> samples) {
    const std::scoped_lock lock(_mutex);
    _samples = std::move(samples);
  }
  /// Refuses requests of a type with a value and a text, from now on; a value of 0 accepts them again.
  void refuse(int requestType, long long value, std::string text = "") {
    const std::scoped_lock lock(_mutex);
    _refused = {requestType, value, std::move(text)};
  }
  /// The first request of this type, behind the first `skip` of them; waits for it. Nothing when it does not
  /// come.
  std::optional<WireMessage> waitForRequest(int requestType, int skip = 0) {
    std::unique_lock lock(_mutex);
    std::optional<WireMessage> found;
    _changed.wait_for(lock, std::chrono::seconds(30), [&] {
      int left = skip;
      for (const WireMessage& seen : _seen) {
        if (seen.subtype == requestType && left-- == 0) return found = seen, true;
      }
      return _ended;
    });
    return found;
  }
  /// How many requests of this type have come so far.
  std::size_t countRequests(int requestType) {
    const std::scoped_lock lock(_mutex);
    return static_cast<std::size_t>(std::ranges::count(_seen, requestType, &WireMessage::subtype));
  }
  /// Waits until the agent has closed, or this side has.
  bool waitForEnd() {
    std::unique_lock lock(_mutex);
    return _changed.wait_for(lock, std::chrono::seconds(30), [&] { return _ended; });
  }

 protected:
  int descriptor() const { return _socket; }
  // Called with the lock held.
  bool isRefused(const WireMessage& request) {
    if (request.subtype != _refused.requestType || _refused.value == 0) return false;
    send(wireResponse(request.correlator(), false, _refused.value, _refused.text));
    return true;
  }
  virtual void answer(const WireMessage& request) {
    if (isRefused(request)) return;
    if (request.subtype != 2) {
      send(wireResponse(request.correlator(), true));
    } else {
      for (const WireFrame& sample : _samples) send(sample);
      send(wireSample(998));
    }
  }

 private:
  struct Refusal {
    int requestType = 0;
    long long value = 0;
    std::string text;
  };

  std::string read(std::size_t count) {
    std::string bytes;
    while (bytes.size() < count) {
      char chunk[4096];
      const ssize_t got = ::recv(_socket, chunk, std::min(sizeof chunk, count - bytes.size()), 0);
      if (got <= 0) break;
      bytes.append(chunk, static_cast<std::size_t>(got));
    }
    return bytes;
  }
  void serveUntilClosed() {
    for (;;) {
      const std::optional<WireMessage> message = receive();
      const std::unique_lock lock(_mutex);
      if (!message) break;
      if (message->dataType == 1 && message->subtype != 5) answer(*message);
      _seen.push_back(*message);
      _changed.notify_all();
    }
    const std::scoped_lock lock(_mutex);
    _ended = true;
    _changed.notify_all();
  }
  int _socket;
  bool _connected = false;
  std::thread _thread;
  std::mutex _mutex;  // guards what follows
  std::condition_variable _changed;
  std::vector<WireFrame> _samples;
  std::vector<WireMessage> _seen;
  Refusal _refused;
  bool _ended = false;
};
