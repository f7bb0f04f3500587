#pragma once
// One request of a connection and its answer.

#include <atomic>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "hub/core/settings.h"
#include "hub/http/departures.h"
#include "hub/http/event_streams.h"
#include "hub/http/paths.h"
#include "hub/http/suspension.h"
#include "hub/http/target.h"
#include "hub/http/workers.h"

namespace zov::hub {

/// What all exchanges of a server use. It is the server's, and outlives libmicrohttpd's thread.
struct Desk {
  explicit Desk(Settings settings);

  const Settings settings;
  const Limits limits;
  Workers queries;
  Workers commands;
  EventStreams streams;
  Departures departures;
};

/// One request, from its first line to the end of its answer. libmicrohttpd's thread reads it, answers what
/// needs no waiting, and sends; work goes to a worker, and the connection is suspended until it is done.
/// Owned by the connection, by the server's set, and by a worker that makes its answer: one that is still
/// inside the agent when all else has gone drops the answer and the exchange.
class Exchange : public Awaited, public std::enable_shared_from_this<Exchange> {
 public:
  Exchange(Desk& desk, MHD_Connection* connection, std::string_view target);

  /// libmicrohttpd's thread: one call of its access handler. True to go on, false to cut the connection.
  bool proceed(std::string_view method, std::string_view data);
  /// libmicrohttpd's thread: the answer has gone out, or the connection has gone.
  void close();

  /// Any thread: the hub ends. Gives up the work under way, answers who waits for it with 503, and lets no
  /// more work begin.
  void end();
  /// Any thread: the client does not wait for the answer any more.
  void clientLeft() override;

 private:
  enum class Phase { Head, Body, Routed };

  bool admit(std::string_view method);
  bool takeBody(std::string_view data);
  void route();
  void openStream(EventTables tables);
  std::string header(const char* name) const;  ///< "" when it is absent
  /// Suspends the connection and has a worker do the work.
  void answerLater(Work work);
  /// Any thread: the answer of work, to a connection that still waits for it.
  void finish(Answer answer);
  void setAnswer(Answer answer);
  /// Hands the answer, if there is one yet, to libmicrohttpd.
  bool sendAnswer();
  bool sendStream();

  // Used by libmicrohttpd's thread only.
  Desk& _desk;
  MHD_Connection* const _connection;
  Target _target;
  const Path* _path = nullptr;
  Call _call;
  std::size_t _bodyBytes = 0;
  Phase _phase = Phase::Head;
  bool _closes = false;  // what follows on the connection may be part of the refused request
  std::shared_ptr<EventStream> _stream;  // set before the client is watched
  std::uint64_t _watch = 0;              // of _desk.departures

  std::atomic<bool> _givenUp{false};

  Mutex _mutex;
  Suspension _suspension ZOV_GUARDED_BY(_mutex);
  std::optional<Answer> _answer ZOV_GUARDED_BY(_mutex);
  bool _ended ZOV_GUARDED_BY(_mutex) = false;
};

}  // namespace zov::hub
