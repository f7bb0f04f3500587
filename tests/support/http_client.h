#pragma once
// A small blocking HTTP/1.1 client for tests, on loopback. Every read has a limit of 30 seconds, after which
// it gives what it has; so a test that waits for nothing fails instead of hanging.

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <string>
#include <utility>

/// An answer. Status 0: the connection was closed, or gave something else than HTTP.
struct ZOVTestAnswer {
  int status = 0;
  std::map<std::string, std::string> headers;  ///< names in lower case
  std::string body;
};

/// One connection; kept open between requests while the server does.
class ZOVTestHttpClient {
 public:
  explicit ZOVTestHttpClient(std::uint16_t port) : _port(port) { connectNow(); }
  ~ZOVTestHttpClient() { close(); }
  ZOVTestHttpClient(ZOVTestHttpClient&& other) noexcept
      : _port(other._port),
        _socket(std::exchange(other._socket, -1)),
        _received(std::move(other._received)),
        _events(std::move(other._events)) {}
  ZOVTestHttpClient(const ZOVTestHttpClient&) = delete;
  ZOVTestHttpClient& operator=(const ZOVTestHttpClient&) = delete;

  bool connected() const { return _socket >= 0; }
  void close() {
    if (_socket >= 0) ::close(_socket);
    _socket = -1;
  }

  /// Sends bytes as they are.
  bool send(const std::string& bytes) {
    std::size_t sent = 0;
    while (sent < bytes.size()) {
      const ssize_t n = ::send(_socket, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
      if (n <= 0) return false;
      sent += static_cast<std::size_t>(n);
    }
    return true;
  }

  static std::string request(const std::string& method, const std::string& target,
                             const std::string& headers = "", const std::string& body = "") {
    std::string text = method + " " + target + " HTTP/1.1\r\n";
    if (headers.find("Host:") == std::string::npos) text += "Host: localhost\r\n";
    text += headers;
    if (!body.empty()) text += "Content-Length: " + std::to_string(body.size()) + "\r\n";
    return text + "\r\n" + body;
  }

  ZOVTestAnswer get(const std::string& target, const std::string& headers = "") {
    send(request("GET", target, headers));
    return receive();
  }
  ZOVTestAnswer post(const std::string& target, const std::string& body,
                     const std::string& headers = "Content-Type: application/json\r\n") {
    send(request("POST", target, headers, body));
    return receive();
  }

  /// Reads status line and headers only.
  ZOVTestAnswer receiveHead() {
    ZOVTestAnswer answer;
    std::string line = receiveLine();
    if (!line.starts_with("HTTP/1.")) return answer;
    answer.status = std::atoi(line.c_str() + 9);
    while (!(line = receiveLine()).empty()) {
      const std::size_t colon = line.find(':');
      if (colon == std::string::npos) continue;
      std::string name = line.substr(0, colon);
      std::transform(name.begin(), name.end(), name.begin(),
                     [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
      const std::size_t value = line.find_first_not_of(' ', colon + 1);
      answer.headers[name] = value == std::string::npos ? "" : line.substr(value);
    }
    return answer;
  }
  ZOVTestAnswer receive() {
    ZOVTestAnswer answer = receiveHead();
    if (answer.headers.contains("content-length")) {
      const auto length = std::strtoull(answer.headers["content-length"].c_str(), nullptr, 10);
      while (_received.size() < length && fill()) {
      }
      answer.body = _received.substr(0, length);
      _received.erase(0, answer.body.size());
    } else if (answer.headers["transfer-encoding"] == "chunked") {
      for (std::string chunk; !(chunk = receiveChunk()).empty();) answer.body += chunk;
    }
    return answer;
  }

  /// The next chunk of a chunked body; empty at its end.
  std::string receiveChunk() {
    const std::size_t length = std::strtoul(receiveLine().c_str(), nullptr, 16);
    while (_received.size() < length + 2 && fill()) {
    }
    std::string chunk = _received.substr(0, length);
    _received.erase(0, std::min(_received.size(), length + 2));
    return chunk;
  }
  /// The next event of an open stream, as its lines; comments are passed over. Empty at the stream's end.
  std::string receiveEvent() {
    for (;;) {
      const std::size_t end = _events.find("\n\n");
      if (end == std::string::npos) {
        const std::string chunk = receiveChunk();
        if (chunk.empty()) return "";
        _events += chunk;
        continue;
      }
      std::string event = _events.substr(0, end);
      _events.erase(0, end + 2);
      if (!event.starts_with(":")) return event;
    }
  }
  /// Opens an event stream and returns once it is open.
  ZOVTestAnswer openEvents(const std::string& target = "/v1/events", const std::string& headers = "") {
    send(request("GET", target, headers));
    ZOVTestAnswer answer = receiveHead();
    if (answer.status == 200) _events = receiveChunk();
    return answer;
  }
  /// True once the server has closed the connection.
  bool closedByServer() {
    while (fill()) {
    }
    return _closed;
  }

 private:
  void connectNow() {
    _socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const timeval limit{30, 0};
    ::setsockopt(_socket, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    ::setsockopt(_socket, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(_port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::connect(_socket, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) close();
  }
  bool fill() {
    char buffer[16384];
    const ssize_t n = ::recv(_socket, buffer, sizeof buffer, 0);
    _closed = n == 0 || (n < 0 && errno == ECONNRESET);
    if (n <= 0) return false;
    _received.append(buffer, static_cast<std::size_t>(n));
    return true;
  }
  std::string receiveLine() {
    std::size_t end;
    while ((end = _received.find("\r\n")) == std::string::npos) {
      if (!fill()) return "";
    }
    std::string line = _received.substr(0, end);
    _received.erase(0, end + 2);
    return line;
  }

  std::uint16_t _port;
  int _socket = -1;
  std::string _received;
  std::string _events;
  bool _closed = false;
};

/// One request on a connection of its own.
inline ZOVTestAnswer zovTestGet(std::uint16_t port, const std::string& target,
                                const std::string& headers = "") {
  ZOVTestHttpClient client(port);
  return client.get(target, headers);
}
