#pragma once
// The HTTP side of the hub.

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "hub/api/query.h"
#include "hub/core/settings.h"
#include "hub/http/workers.h"

struct MHD_Connection;
struct MHD_Daemon;
struct MHD_Response;

/// Serves HTTP on one address, from start to stop.
///
/// One thread of libmicrohttpd reads, answers what needs no waiting, and sends. Queries and commands go to
/// workers; their connections are suspended meanwhile. An event stream is a connection whose body never ends:
/// events are put behind its buffer by the thread that has the event, and it is suspended while the buffer is
/// empty.
///
/// `_mutex` guards all exchanges and is innermost but for libmicrohttpd's own; it is never held while the
/// agent is called. A worker that is still inside the agent after stop keeps this object alive, and its
/// answer is dropped.
class ZOVHubHttp : public std::enable_shared_from_this<ZOVHubHttp> {
 public:
  explicit ZOVHubHttp(ZOVHubSettings settings);
  ~ZOVHubHttp();
  ZOVHubHttp(const ZOVHubHttp&) = delete;
  ZOVHubHttp& operator=(const ZOVHubHttp&) = delete;

  /// Binds, listens and starts the thread: "" or a sentence about what failed.
  std::string start();
  std::uint16_t port() const { return _port; }
  /// To be called every keepAliveMilliseconds: puts a comment into each event stream, which also finds out
  /// those whose reader has gone while there were no events.
  void keepAlive();
  /// Answers those who wait with 503, ends event streams, and closes everything; then waits for the workers,
  /// until `deadline` at most.
  void stop(std::chrono::steady_clock::time_point deadline);

 private:
  /// One request of a connection, from its first line to the end of the answer.
  struct Exchange;
  using ExchangePointer = std::shared_ptr<Exchange>;
  friend struct ZOVHubHttpCallbacks;

  std::string listen(int& descriptor);
  ExchangePointer open(MHD_Connection* connection, std::string_view target);
  void close(const ExchangePointer& exchange);
  /// One call of the access handler; true to go on, false to cut the connection.
  bool handle(const ExchangePointer& exchange, std::string_view method, std::string_view data);
  /// Looks at the request line and headers: status 0 when the request may go on.
  ZOVHubAnswer admit(Exchange& exchange, std::string_view method) const;
  ZOVHubAnswer admitBody(const Exchange& exchange) const;
  std::string header(const Exchange& exchange, const char* name) const;
  void route(const ExchangePointer& exchange, std::string_view method);
  void startQuery(const ExchangePointer& exchange, const std::string& table);
  void startCommand(const ExchangePointer& exchange);
  void startStream(const ExchangePointer& exchange);

  /// Suspends the exchange and has a worker make its answer.
  void answerLater(const ExchangePointer& exchange, ZOVHubWorkers& workers,
                   std::function<ZOVHubAnswer()> work);
  void finish(const ExchangePointer& exchange, ZOVHubAnswer answer);
  bool queueAnswer(Exchange& exchange);
  bool queueStream(const ExchangePointer& exchange);

  bool deliver(const ExchangePointer& exchange, const ZOVHubTable& table, const tqbox& box);
  /// Copies what is to be sent; libmicrohttpd's conventions for the result.
  long read(const ExchangePointer& exchange, char* buffer, std::size_t most);
  void append(Exchange& exchange, std::string_view text);  // under _mutex
  void suspend(const ExchangePointer& exchange);           // under _mutex
  void resume(const ExchangePointer& exchange);            // under _mutex

  const ZOVHubSettings _settings;
  const ZOVHubLimits _limits;
  ZOVHubWorkers _queries;
  ZOVHubWorkers _commands;
  MHD_Daemon* _daemon = nullptr;
  std::uint16_t _port = 0;

  std::atomic<bool> _givenUp{false};  ///< queries inside the agent are to come back

  std::mutex _mutex;
  std::condition_variable _answered;  // an exchange has gone
  std::set<ExchangePointer> _exchanges;
  std::size_t _streams = 0;
  bool _stopping = false;
  /// The last event as text: one event goes to every stream of its table, one after the other.
  struct {
    const ZOVHubTable* table = nullptr;
    std::string row;
    std::string text;
  } _lastEvent;
};
