#include "hub/http/server.h"

#include <arpa/inet.h>
#include <microhttpd.h>
#include <netinet/in.h>
#include <strings.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstring>

#include "hub/api/json.h"
#include "platform/clock.h"
#include "platform/trace.h"

static DGT1_Unit traceUnit("ZOVHHTTP");

namespace {

constexpr std::size_t wastedBodyBytes = 1024 * 1024;  // of a body without a length, read before it is cut off

// More parameters than this may not fit into libmicrohttpd's memory of a connection; it would then leave the
// peer without an answer, so the connection is cut instead.
constexpr std::ptrdiff_t mostSeparators = 256;

constexpr std::string_view listOfPaths =
    "GET  /healthz\n"
    "GET  /v1/tables\n"
    "GET  /v1/nodes\n"
    "GET  /v1/tables/TABLE/rows?node=NODE&history=1&COLUMN=VALUE&PARMA=TOP;COLUMN;column;ROWS;n;ORDER;DESC\n"
    "GET  /v1/events?table=TABLE\n"
    "POST /v1/actions  {\"node\": NODE, \"command\": COMMAND}\n";

/// Takes as long for every text of the expected length.
bool sameSecret(std::string_view given, std::string_view expected) {
  unsigned char difference = given.size() != expected.size();
  for (std::size_t i = 0; i < given.size(); ++i) {
    difference = static_cast<unsigned char>(difference | (given[i] ^ expected[i % expected.size()]));
  }
  return difference == 0;
}

std::string_view trimmed(std::string_view text) {
  while (!text.empty() && text.front() == ' ') text.remove_prefix(1);
  while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
  return text;
}

bool startsWithIgnoringCase(std::string_view text, std::string_view start) {
  return text.size() >= start.size() && strncasecmp(text.data(), start.data(), start.size()) == 0;
}

/// The table in "/v1/tables/TABLE/rows", or empty.
std::string_view rowsTable(std::string_view path) {
  constexpr std::string_view head = "/v1/tables/";
  constexpr std::string_view tail = "/rows";
  if (path.size() <= head.size() + tail.size() || !path.starts_with(head) || !path.ends_with(tail)) return {};
  return path.substr(head.size(), path.size() - head.size() - tail.size());
}

/// The methods of a path, as an Allow header has them; null for an unknown path.
const char* methodsOf(std::string_view path) {
  if (path == "/v1/actions") return "POST";
  if (path == "/v1/events") return "GET";
  const bool known = path == "/" || path == "/healthz" || path == "/v1/tables" || path == "/v1/nodes";
  return known || !rowsTable(path).empty() ? "GET, HEAD" : nullptr;
}

bool allows(std::string_view methods, std::string_view method) {
  while (!methods.empty()) {
    const std::size_t end = methods.find(", ");
    if (methods.substr(0, end) == method) return true;
    methods = end == std::string_view::npos ? std::string_view() : methods.substr(end + 2);
  }
  return false;
}

ZOVHubAnswer ending() {
  return ZOVHubAnswer::error(503, "the agent is ending");
}

std::string failure(const std::string& what, int code) {
  char text[128];
  return what + ": " + strerror_r(code, text, sizeof text);
}

}  // namespace

struct ZOVHubHttp::Exchange {
  enum class Phase { Headers, Body, Routed, Waiting };

  MHD_Connection* connection;
  ZOVHubTarget target;
  ZOVHubAnswer answer;  ///< status 0: none yet
  Phase phase = Phase::Headers;
  std::string body;
  std::size_t bodyBytes = 0;

  // Guarded by _mutex
  bool suspended = false;

  bool stream = false;
  std::string unsent;                                    ///< guarded by _mutex
  bool ended = false;                                    ///< guarded by _mutex: nothing more comes
  bool dropped = false;                                  ///< guarded by _mutex: the reader was too far behind
  std::vector<std::unique_ptr<ZOVHubRequest>> requests;  ///< of the server's thread
};

/// The C functions that libmicrohttpd calls, all on its one thread.
struct ZOVHubHttpCallbacks {
  using Server = ZOVHubHttp;
  using Pointer = ZOVHubHttp::ExchangePointer;

  // A connection has one place for its exchange, for as long as it is open: a request whose headers turn out
  // to be malformed is opened, and never reported as completed.
  static void connection(void* server, MHD_Connection*, void** place, MHD_ConnectionNotificationCode code) {
    if (code == MHD_CONNECTION_NOTIFY_STARTED) {
      *place = new Pointer;
      return;
    }
    const std::unique_ptr<Pointer> exchange(static_cast<Pointer*>(*place));
    if (exchange != nullptr) leave(server, *exchange);
  }
  static void* open(void* server, const char* target, MHD_Connection* connection) {
    const auto* const info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_SOCKET_CONTEXT);
    if (info == nullptr || info->socket_context == nullptr) return nullptr;
    Pointer& exchange = *static_cast<Pointer*>(info->socket_context);
    leave(server, exchange);
    exchange = static_cast<Server*>(server)->open(connection, target);
    return &exchange;
  }
  static MHD_Result handle(void* server, MHD_Connection*, const char*, const char* method, const char*,
                           const char* data, std::size_t* size, void** state) {
    if (*state == nullptr) return MHD_NO;
    const bool goOn =
        static_cast<Server*>(server)->handle(*static_cast<Pointer*>(*state), method, {data, *size});
    *size = 0;
    return goOn ? MHD_YES : MHD_NO;
  }
  static void close(void* server, MHD_Connection*, void** state, MHD_RequestTerminationCode) {
    if (*state != nullptr) leave(server, *static_cast<Pointer*>(*state));
  }
  static void leave(void* server, Pointer& exchange) {
    if (exchange != nullptr) static_cast<Server*>(server)->close(exchange);
    exchange = nullptr;
  }

  struct Reader {
    std::shared_ptr<Server> server;
    Pointer exchange;
  };
  static ssize_t read(void* reader, std::uint64_t, char* buffer, std::size_t most) {
    const auto& [server, exchange] = *static_cast<Reader*>(reader);
    return server->read(exchange, buffer, most);
  }
  static void freeReader(void* reader) { delete static_cast<Reader*>(reader); }
  static void freeBody(void* body) { delete static_cast<std::string*>(body); }
};

ZOVHubHttp::ZOVHubHttp(ZOVHubSettings settings)
    : _settings(std::move(settings)),
      _limits(zovHubLimits()),
      _queries("ZOVHubQuery", _limits.queryThreads, _limits.queriesWaiting),
      _commands("ZOVHubCommand", 1, _limits.commandsWaiting) {}

ZOVHubHttp::~ZOVHubHttp() = default;

std::string ZOVHubHttp::listen(int& descriptor) {
  sockaddr_storage address{};
  socklen_t length = sizeof(sockaddr_in);
  if (_settings.ipv6) {
    auto& v6 = reinterpret_cast<sockaddr_in6&>(address);
    v6.sin6_family = AF_INET6;
    v6.sin6_port = htons(_settings.port);
    inet_pton(AF_INET6, _settings.address.c_str(), &v6.sin6_addr);
    length = sizeof v6;
  } else {
    auto& v4 = reinterpret_cast<sockaddr_in&>(address);
    v4.sin_family = AF_INET;
    v4.sin_port = htons(_settings.port);
    inet_pton(AF_INET, _settings.address.c_str(), &v4.sin_addr);
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
    return failure(_settings.address + ":" + std::to_string(_settings.port), code);
  }
  _port = ntohs(_settings.ipv6 ? reinterpret_cast<sockaddr_in6&>(address).sin6_port
                               : reinterpret_cast<sockaddr_in&>(address).sin_port);
  return "";
}

std::string ZOVHubHttp::start() {
  int descriptor = -1;
  std::string wrong = listen(descriptor);
  if (!wrong.empty()) return wrong;
  // At most half of the process's descriptors: the rest are the agent's.
  rlimit descriptors{};
  getrlimit(RLIMIT_NOFILE, &descriptors);
  const auto most = std::min<rlim_t>(_limits.streams + 256, std::max<rlim_t>(descriptors.rlim_cur / 2, 1));
  _daemon = MHD_start_daemon(
      MHD_USE_EPOLL_INTERNAL_THREAD | MHD_ALLOW_SUSPEND_RESUME | (_settings.ipv6 ? MHD_USE_IPv6 : 0), _port,
      nullptr, nullptr, &ZOVHubHttpCallbacks::handle, this,            //
      MHD_OPTION_LISTEN_SOCKET, descriptor,                            //
      MHD_OPTION_URI_LOG_CALLBACK, &ZOVHubHttpCallbacks::open, this,   //
      MHD_OPTION_NOTIFY_COMPLETED, &ZOVHubHttpCallbacks::close, this,  //
      MHD_OPTION_NOTIFY_CONNECTION, &ZOVHubHttpCallbacks::connection, this, MHD_OPTION_CONNECTION_LIMIT,
      static_cast<unsigned>(most),  //
      MHD_OPTION_CONNECTION_TIMEOUT, _limits.idleSeconds, MHD_OPTION_END);
  if (_daemon != nullptr) return "";
  ::close(descriptor);
  return "the HTTP server did not start";
}

ZOVHubHttp::ExchangePointer ZOVHubHttp::open(MHD_Connection* connection, std::string_view target) {
  auto exchange = std::make_shared<Exchange>();
  exchange->connection = connection;
  exchange->answer.status = 0;
  std::string wrong;
  const unsigned status = exchange->target.read(target, wrong);
  if (status != 0) exchange->answer = ZOVHubAnswer::error(status, wrong);
  if (std::ranges::count(target, '&') > mostSeparators) {
    const auto* const info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD);
    if (info != nullptr) ::shutdown(info->connect_fd, SHUT_RDWR);
  }
  const std::lock_guard guard(_mutex);
  _exchanges.insert(exchange);
  return exchange;
}

void ZOVHubHttp::close(const ExchangePointer& exchange) {
  {
    const std::lock_guard guard(_mutex);
    exchange->ended = true;
    exchange->suspended = false;
    exchange->connection = nullptr;
    if (exchange->stream) --_streams;
    _exchanges.erase(exchange);
    _answered.notify_all();
  }
  exchange->requests.clear();  // takes managers' locks, under which _mutex is taken
}

bool ZOVHubHttp::handle(const ExchangePointer& exchange, std::string_view method, std::string_view data) {
  using Phase = Exchange::Phase;
  if (exchange->phase == Phase::Headers) {
    exchange->phase = Phase::Body;
    if (exchange->answer.status == 0) exchange->answer = admit(*exchange, method);
    return exchange->answer.status == 0 || queueAnswer(*exchange);
  }
  if (!data.empty()) {
    exchange->bodyBytes += data.size();
    if (exchange->bodyBytes <= _limits.bodyBytes) exchange->body.append(data);
    return exchange->bodyBytes <= wastedBodyBytes;
  }
  if (exchange->phase == Phase::Body) {
    exchange->phase = Phase::Routed;
    route(exchange, method);
    if (exchange->stream) return queueStream(exchange);
    // Called again once the connection has been resumed; until then it takes no answer.
    if (exchange->phase == Phase::Waiting) return true;
  }
  return queueAnswer(*exchange);
}

std::string ZOVHubHttp::header(const Exchange& exchange, const char* name) const {
  const char* const value = MHD_lookup_connection_value(exchange.connection, MHD_HEADER_KIND, name);
  return value == nullptr ? "" : value;
}

ZOVHubAnswer ZOVHubHttp::admit(Exchange& exchange, std::string_view method) const {
  ZOVHubAnswer admitted;
  admitted.status = 0;
  const std::string host = header(exchange, "Host");
  if (!_settings.acceptsHost(host)) {
    return ZOVHubAnswer::error(403, "the Host header is \"" + host.substr(0, 80) + "\"; accepted are " +
                                        _settings.address + " and localhost");
  }
  const std::string& path = exchange.target.path;
  if (!_settings.token.empty() && path != "/healthz") {
    constexpr std::string_view scheme = "Bearer ";
    const std::string given = header(exchange, "Authorization");
    if (!startsWithIgnoringCase(given, scheme) ||
        !sameSecret(trimmed(std::string_view(given).substr(scheme.size())), _settings.token)) {
      return ZOVHubAnswer::error(
          401,
          "the Authorization header is missing or wrong; accepted is Bearer TOKEN with "
          "the value of ZOV_HUB_TOKEN");
    }
  }
  const char* const methods = methodsOf(path);
  if (methods == nullptr) {
    return ZOVHubAnswer::error(404, "there is no path " + path.substr(0, 80) + "; GET / lists the paths");
  }
  if (!allows(methods, method)) {
    return ZOVHubAnswer::error(405, "the method is " + std::string(method.substr(0, 20)) + "; accepted for " +
                                        path.substr(0, 80) + " is " + methods);
  }
  return method == "POST" ? admitBody(exchange) : admitted;
}

ZOVHubAnswer ZOVHubHttp::admitBody(const Exchange& exchange) const {
  ZOVHubAnswer admitted;
  admitted.status = 0;
  const std::string type = header(exchange, "Content-Type");
  if (strcasecmp(std::string(trimmed(std::string_view(type).substr(0, type.find(';')))).c_str(),
                 "application/json") != 0) {
    return ZOVHubAnswer::error(
        415, "the Content-Type is \"" + type.substr(0, 80) + "\"; accepted is application/json");
  }
  const std::string length = header(exchange, "Content-Length");
  std::uint64_t bytes = 0;
  std::from_chars(length.data(), length.data() + length.size(), bytes);
  if (bytes > _limits.bodyBytes) {
    return ZOVHubAnswer::error(
        413, "the body has " + length + " bytes; accepted are at most " + std::to_string(_limits.bodyBytes));
  }
  return admitted;
}

void ZOVHubHttp::route(const ExchangePointer& exchange, std::string_view method) {
  const std::string& path = exchange->target.path;
  ZOVHubAnswer& answer = exchange->answer;
  DGT1_Printf(traceUnit, DGT1_DETAIL, "%s %s", std::string(method).c_str(), path.c_str());
  if (path == "/healthz") {
    answer = {200, "ok\n", "text/plain; charset=utf-8"};
  } else if (path == "/") {
    answer = {200, std::string(listOfPaths), "text/plain; charset=utf-8"};
  } else if (path == "/v1/tables") {
    answer = zovHubListTables();
  } else if (path == "/v1/nodes") {
    answer = zovHubListNodes();
  } else if (path == "/v1/actions") {
    startCommand(exchange);
  } else if (path == "/v1/events") {
    startStream(exchange);
  } else {
    startQuery(exchange, std::string(rowsTable(path)));
  }
}

void ZOVHubHttp::startQuery(const ExchangePointer& exchange, const std::string& table) {
  auto query = ZOVHubQuery::read(table, exchange->target.parameters, exchange->answer);
  if (query.valid()) answerLater(exchange, _queries, [this, query] { return query.run(_givenUp); });
}

void ZOVHubHttp::startCommand(const ExchangePointer& exchange) {
  if (exchange->bodyBytes > _limits.bodyBytes) {
    exchange->answer =
        ZOVHubAnswer::error(413, "the body has " + std::to_string(exchange->bodyBytes) +
                                     " bytes; accepted are at most " + std::to_string(_limits.bodyBytes));
    return;
  }
  ZOVHubCommand command;
  const std::string wrong = command.read(exchange->body);
  if (!wrong.empty()) {
    exchange->answer = ZOVHubAnswer::error(400, wrong);
    return;
  }
  answerLater(exchange, _commands, [command] { return command.run(); });
}

void ZOVHubHttp::answerLater(const ExchangePointer& exchange, ZOVHubWorkers& workers,
                             std::function<ZOVHubAnswer()> work) {
  {
    const std::lock_guard guard(_mutex);
    if (_stopping) {
      exchange->answer = ending();
      return;
    }
    exchange->phase = Exchange::Phase::Waiting;
    suspend(exchange);
  }
  const bool taken = workers.submit([server = shared_from_this(), exchange, work = std::move(work)] {
    try {
      server->finish(exchange, work());
    } catch (const std::exception& error) {
      server->finish(exchange, ZOVHubAnswer::error(500, std::string("the request failed: ") + error.what()));
      throw;
    }
  });
  if (!taken) {
    finish(exchange,
           ZOVHubAnswer::error(503, "too many requests wait for the agent already; try again later"));
  }
}

void ZOVHubHttp::finish(const ExchangePointer& exchange, ZOVHubAnswer answer) {
  const std::lock_guard guard(_mutex);
  if (!exchange->suspended) return;
  exchange->answer = std::move(answer);
  resume(exchange);
}

void ZOVHubHttp::suspend(const ExchangePointer& exchange) {
  MHD_suspend_connection(exchange->connection);
  exchange->suspended = true;
}

void ZOVHubHttp::resume(const ExchangePointer& exchange) {
  exchange->suspended = false;
  MHD_resume_connection(exchange->connection);
}

bool ZOVHubHttp::queueAnswer(Exchange& exchange) {
  ZOVHubAnswer& answer = exchange.answer;
  auto* const body = new std::string(std::move(answer.body));
  MHD_Response* const response = MHD_create_response_from_buffer_with_free_callback_cls(
      body->size(), body->data(), &ZOVHubHttpCallbacks::freeBody, body);
  if (response == nullptr) {
    delete body;
    return false;
  }
  MHD_add_response_header(response, "Content-Type", answer.contentType);
  MHD_add_response_header(response, "Cache-Control", "no-store");
  MHD_add_response_header(response, "X-Content-Type-Options", "nosniff");
  if (answer.status == 401) MHD_add_response_header(response, "WWW-Authenticate", "Bearer");
  if (answer.status == 405) MHD_add_response_header(response, "Allow", methodsOf(exchange.target.path));
  if (answer.status == 503) MHD_add_response_header(response, "Retry-After", "1");
  const MHD_Result result = MHD_queue_response(exchange.connection, answer.status, response);
  MHD_destroy_response(response);
  return result == MHD_YES;
}

void ZOVHubHttp::startStream(const ExchangePointer& exchange) {
  const auto tables = zovHubEventTables(exchange->target.parameters, exchange->answer);
  if (exchange->answer.status != 0) return;
  {
    const std::lock_guard guard(_mutex);
    if (_stopping || _streams >= _limits.streams) {
      exchange->answer = _stopping ? ending()
                                   : ZOVHubAnswer::error(503, std::to_string(_streams) +
                                                                  " event streams are open; try again later");
      return;
    }
    ++_streams;
    exchange->stream = true;
    exchange->unsent = ": events follow\n\n";
  }
  for (const auto& table : tables) {
    ContextInfo context;
    context.deliver = [server = weak_from_this(), weak = std::weak_ptr(exchange), table](const tqbox& box) {
      const auto alive = server.lock();
      const auto stream = weak.lock();
      return alive != nullptr && stream != nullptr && alive->deliver(stream, *table, box);
    };
    exchange->requests.push_back(std::make_unique<ZOVHubRequest>(*table->manager, std::move(context)));
    exchange->requests.back()->subscribe();
  }
}

bool ZOVHubHttp::queueStream(const ExchangePointer& exchange) {
  auto* const reader = new ZOVHubHttpCallbacks::Reader{shared_from_this(), exchange};
  MHD_Response* const response = MHD_create_response_from_callback(
      MHD_SIZE_UNKNOWN, 16 * 1024, &ZOVHubHttpCallbacks::read, reader, &ZOVHubHttpCallbacks::freeReader);
  if (response == nullptr) {
    delete reader;
    return false;
  }
  MHD_add_response_header(response, "Content-Type", "text/event-stream");
  MHD_add_response_header(response, "Cache-Control", "no-store");
  MHD_add_response_header(response, "X-Content-Type-Options", "nosniff");
  const MHD_Result result = MHD_queue_response(exchange->connection, 200, response);
  MHD_destroy_response(response);
  return result == MHD_YES;
}

bool ZOVHubHttp::deliver(const ExchangePointer& exchange, const ZOVHubTable& table, const tqbox& box) {
  const std::lock_guard guard(_mutex);
  if (exchange->ended) return false;
  for (std::int32_t i = 0; i < box._data.count && !exchange->ended; ++i) {
    const char* const row = box.rowAt(i);
    if (row == nullptr) break;
    auto& last = _lastEvent;
    if (last.table != &table || last.row.size() != table.rowBytes ||
        std::memcmp(last.row.data(), row, table.rowBytes) != 0) {
      last.table = &table;
      last.row.assign(row, table.rowBytes);
      last.text = "event: " + table.manager->table() + "\ndata: ";
      ZOVHubJsonStream stream(last.text);
      ZOVHubJsonWriter writer(stream);
      zovHubWriteRow(writer, table, row);
      last.text += "\n\n";
    }
    append(*exchange, last.text);
  }
  if (exchange->suspended) resume(exchange);
  return !exchange->ended;
}

void ZOVHubHttp::append(Exchange& exchange, std::string_view text) {
  if (exchange.unsent.size() + text.size() <= _limits.streamBytes) {
    exchange.unsent.append(text);
    return;
  }
  exchange.ended = true;
  exchange.dropped = true;
  exchange.unsent = std::string();
  DGT1_Printf(traceUnit, DGT1_ERROR, "An event stream is dropped: its reader is %u bytes behind",
              _limits.streamBytes);
}

long ZOVHubHttp::read(const ExchangePointer& exchange, char* buffer, std::size_t most) {
  const std::lock_guard guard(_mutex);
  std::string& unsent = exchange->unsent;
  if (!unsent.empty()) {
    const std::size_t length = unsent.copy(buffer, most);
    unsent.erase(0, length);
    return static_cast<long>(length);
  }
  if (exchange->dropped) return MHD_CONTENT_READER_END_WITH_ERROR;
  if (exchange->ended) return MHD_CONTENT_READER_END_OF_STREAM;
  suspend(exchange);
  return 0;
}

void ZOVHubHttp::keepAlive() {
  const std::lock_guard guard(_mutex);
  for (const ExchangePointer& exchange : _exchanges) {
    if (!exchange->stream || !exchange->suspended) continue;
    append(*exchange, ": still here\n\n");
    resume(exchange);
  }
}

void ZOVHubHttp::stop(std::chrono::steady_clock::time_point deadline) {
  using std::chrono::milliseconds;
  if (_daemon == nullptr) return;
  _givenUp = true;
  const int listening = MHD_quiesce_daemon(_daemon);
  if (listening >= 0) ::shutdown(listening, SHUT_RDWR);
  {
    std::unique_lock guard(_mutex);
    _stopping = true;
    for (const ExchangePointer& exchange : _exchanges) {
      exchange->ended = true;
      if (!exchange->suspended) continue;
      if (!exchange->stream) exchange->answer = ending();
      resume(exchange);
    }
    _answered.wait_for(guard, milliseconds(500), [&] { return _exchanges.empty(); });
  }
  MHD_stop_daemon(_daemon);
  if (listening >= 0)
    ::close(listening);  // not before: the server's thread may still be taking it out of its epoll
  _daemon = nullptr;
  for (ZOVHubWorkers* workers : {&_queries, &_commands}) {
    const auto left = deadline - ZOVClock::steady();
    workers->stop(std::max(milliseconds(0), std::chrono::duration_cast<milliseconds>(left)));
  }
}
