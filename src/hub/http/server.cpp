#include "hub/http/server.h"

#include <arpa/inet.h>
#include <microhttpd.h>
#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "hub/api/metrics.h"

namespace zov::hub {
namespace {

// More parameters than this may not fit into libmicrohttpd's memory of a connection; it would then leave the
// peer without an answer, so the connection is cut instead.
constexpr std::ptrdiff_t mostSeparators = 256;
constexpr std::chrono::milliseconds betweenChecks{1000};
constexpr std::chrono::milliseconds lastAnswers{500};

std::string failure(const std::string& what, int code) {
  char text[128];
  return what + ": " + strerror_r(code, text, sizeof text);
}

/// Binds and listens. On success `descriptor` and `port` are set and the result is "", else what failed.
std::string listenAt(const Settings& settings, int& descriptor, std::uint16_t& port) {
  sockaddr_storage address{};
  socklen_t length = sizeof(sockaddr_in);
  if (settings.ipv6) {
    auto& v6 = reinterpret_cast<sockaddr_in6&>(address);
    v6.sin6_family = AF_INET6;
    v6.sin6_port = htons(settings.port);
    inet_pton(AF_INET6, settings.address.c_str(), &v6.sin6_addr);
    length = sizeof v6;
  } else {
    auto& v4 = reinterpret_cast<sockaddr_in&>(address);
    v4.sin_family = AF_INET;
    v4.sin_port = htons(settings.port);
    inet_pton(AF_INET, settings.address.c_str(), &v4.sin_addr);
  }
  descriptor = socket(address.ss_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (descriptor < 0) return failure("socket", errno);
  const int on = 1;
  setsockopt(descriptor, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  auto* const plain = reinterpret_cast<sockaddr*>(&address);
  if (bind(descriptor, plain, length) != 0 || ::listen(descriptor, SOMAXCONN) != 0 ||
      getsockname(descriptor, plain, &length) != 0) {
    const int code = errno;
    ::close(descriptor);
    return failure(settings.address + ":" + std::to_string(settings.port), code);
  }
  port = ntohs(settings.ipv6 ? reinterpret_cast<sockaddr_in6&>(address).sin6_port
                             : reinterpret_cast<sockaddr_in&>(address).sin_port);
  return "";
}

Limits limitsOfProcess() {
  rlimit descriptors{};
  getrlimit(RLIMIT_NOFILE, &descriptors);
  return limits().within(descriptors.rlim_cur);
}

}  // namespace

std::unique_ptr<FrontDoor> makeFrontDoor(const Settings& settings) {
  return std::make_unique<Server>(settings);
}

/// The C functions that libmicrohttpd calls, all on its one thread.
struct Server::Callbacks {
  static Server& of(void* server) { return *static_cast<Server*>(server); }

  // A connection has one place for its exchange, for as long as it is open: a request whose headers turn out
  // to be malformed is opened, and never reported as completed.
  static void connection(void* server, MHD_Connection* connection, void** place,
                         MHD_ConnectionNotificationCode code) {
    if (code == MHD_CONNECTION_NOTIFY_STARTED) {
      *place = of(server).enter(connection);
    } else if (*place != nullptr) {
      of(server).leave(static_cast<Connection*>(*place));
    }
  }
  static void* open(void* server, const char* target, MHD_Connection* connection) {
    const auto* const info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_SOCKET_CONTEXT);
    if (info == nullptr || info->socket_context == nullptr) return nullptr;
    auto* const ours = static_cast<Connection*>(info->socket_context);
    of(server).open(connection, *ours, target);
    return ours;
  }
  static MHD_Result handle(void* server, MHD_Connection*, const char*, const char* method, const char*,
                           const char* data, std::size_t* size, void** state) {
    if (*state == nullptr) return MHD_NO;
    Connection& connection = *static_cast<Connection*>(*state);
    const bool goOn = connection.exchange->proceed(method, {data, *size});
    if (connection.exchange->isReceived()) of(server).setReceiving(connection, false);
    *size = 0;
    return goOn ? MHD_YES : MHD_NO;
  }
  static void close(void* server, MHD_Connection*, void** state, MHD_RequestTerminationCode) {
    if (*state == nullptr) return;
    of(server).close(*static_cast<Connection*>(*state));
  }
};

Server::Server(const Settings& settings) : _desk(settings, limitsOfProcess()) {}

Server::~Server() = default;

std::string Server::start() {
  int descriptor = -1;
  std::string wrong = listenAt(_desk.settings, descriptor, _port);
  if (!wrong.empty()) return wrong;
  _daemon = MHD_start_daemon(
      MHD_USE_EPOLL_INTERNAL_THREAD | MHD_ALLOW_SUSPEND_RESUME | (_desk.settings.ipv6 ? MHD_USE_IPv6 : 0),
      _port, nullptr, nullptr, &Callbacks::handle, this,           //
      MHD_OPTION_LISTEN_SOCKET, descriptor,                        //
      MHD_OPTION_URI_LOG_CALLBACK, &Callbacks::open, this,         //
      MHD_OPTION_NOTIFY_COMPLETED, &Callbacks::close, this,        //
      MHD_OPTION_NOTIFY_CONNECTION, &Callbacks::connection, this,  //
      MHD_OPTION_CONNECTION_LIMIT, static_cast<unsigned>(_desk.limits.connections()),
      MHD_OPTION_CONNECTION_TIMEOUT, _desk.limits.idleSeconds, MHD_OPTION_END);
  if (_daemon == nullptr) {
    ::close(descriptor);
    return "the HTTP server did not start";
  }
  checkMetricsChoice();
  _desk.streams.begin();
  _nextKeepAlive = ZOVClock::steady() + std::chrono::milliseconds(_desk.limits.keepAliveMilliseconds);
  return "";
}

int Server::attend() {
  using std::chrono::milliseconds;
  _desk.departures.report();
  const auto now = ZOVClock::steady();
  if (now >= _nextCheck) {
    _nextCheck = now + betweenChecks;
    checkTimes(now);
  }
  if (now >= _nextKeepAlive) {
    _nextKeepAlive = now + milliseconds(_desk.limits.keepAliveMilliseconds);
    _desk.streams.keepAlive();
  }
  const auto next = std::min(_nextCheck, _nextKeepAlive);
  return static_cast<int>(std::chrono::ceil<milliseconds>(next - now).count());
}

void Server::checkTimes(ZOVClock::Steady now) {
  std::vector<std::shared_ptr<Exchange>> exchanges;
  {
    const MutexLock guard(_mutex);
    exchanges.assign(_exchanges.begin(), _exchanges.end());
    for (const Connection* connection : _connections) {
      if (connection->receiving &&
          now - connection->since >= std::chrono::seconds(_desk.limits.requestSeconds)) {
        ::shutdown(connection->socket, SHUT_RDWR);
      }
    }
  }
  for (const auto& exchange : exchanges) exchange->checkTime(now);
}

Server::Connection* Server::enter(MHD_Connection* connection) {
  auto ours =
      std::make_unique<Connection>(Connection{socketOf(connection), nullptr, true, ZOVClock::steady()});
  const MutexLock guard(_mutex);
  makePlace();
  _connections.insert(ours.get());
  return ours.release();
}

void Server::makePlace() {
  if (_connections.size() + _desk.limits.shortExchanges / 2 < _desk.limits.connections()) return;
  Connection* oldest = nullptr;
  for (Connection* each : _connections) {
    if (each->receiving && (oldest == nullptr || each->since < oldest->since)) oldest = each;
  }
  if (oldest == nullptr) return;
  ::shutdown(oldest->socket, SHUT_RDWR);
  oldest->receiving = false;  // it is on its way out
}

void Server::leave(Connection* connection) {
  const std::unique_ptr<Connection> ours(connection);
  close(*ours);
  const MutexLock guard(_mutex);
  _connections.erase(connection);
}

void Server::setReceiving(Connection& connection, bool receiving) {
  const MutexLock guard(_mutex);
  connection.receiving = receiving;
  connection.since = ZOVClock::steady();
}

void Server::open(MHD_Connection* connection, Connection& ours, std::string_view target) {
  close(ours);
  ours.exchange = std::make_shared<Exchange>(_desk, connection, target);
  if (std::ranges::count(target, '&') > mostSeparators) ::shutdown(ours.socket, SHUT_RDWR);
  const MutexLock guard(_mutex);
  if (_stopping) ours.exchange->end();
  _exchanges.insert(ours.exchange);
}

void Server::close(Connection& connection) {
  if (connection.exchange == nullptr) return;
  {
    const MutexLock guard(_mutex);
    _exchanges.erase(connection.exchange);
    connection.receiving = true;
    connection.since = ZOVClock::steady();
    _gone.notifyAll();
  }
  connection.exchange->close();
  connection.exchange = nullptr;
}

void Server::endExchanges() {
  const MutexLock guard(_mutex);
  _stopping = true;
  for (const auto& exchange : _exchanges) exchange->end();
  _desk.streams.end();
  const auto deadline = ZOVClock::steady() + lastAnswers;
  while (!_exchanges.empty() && _gone.waitUntil(_mutex, deadline)) {
  }
}

void Server::stop(ZOVClock::Steady deadline) {
  if (_daemon == nullptr) return;
  const int listening = MHD_quiesce_daemon(_daemon);
  if (listening >= 0) ::shutdown(listening, SHUT_RDWR);
  endExchanges();
  MHD_stop_daemon(_daemon);
  // Not before: the server's thread may still be taking it out of its epoll.
  if (listening >= 0) ::close(listening);
  _daemon = nullptr;
  _desk.queries.stop(deadline);
  _desk.statuses.stop(deadline);
  _desk.commands.stop(deadline);
}

}  // namespace zov::hub
