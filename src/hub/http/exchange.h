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
#include "hub/http/places.h"
#include "hub/http/suspension.h"
#include "hub/http/target.h"
#include "hub/http/workers.h"

namespace zov::hub {

/// What all exchanges of a server use. It is the server's, and outlives libmicrohttpd's thread.
struct Desk {
  Desk(Settings settings, const Limits& limits);

  const Settings settings;
  const Limits limits;
  Workers queries;   // of tables that may wait for servers
  Workers statuses;  // of the others, so that they never wait behind those
  Workers commands;
  Places queryPlaces;
  Places commandPlaces;
  EventStreams streams;
  Departures departures;
};

/// One request, from its first line to the end of its answer. libmicrohttpd's thread reads it, answers what
/// needs no waiting, and sends; work goes to workers, and the connection is suspended while there is nothing
/// to send. Owned by the connection, by the server's set, and by the worker of a command: one that is still
/// inside the agent when all else has gone drops the answer and the exchange. The production of rows does not
/// own it, and outlives it. No lock is taken under `_mutex` but the body's and libmicrohttpd's.
class Exchange : public Awaited, public std::enable_shared_from_this<Exchange> {
 public:
  Exchange(Desk& desk, MHD_Connection* connection, std::string_view target);

  /// libmicrohttpd's thread: one call of its access handler. True to go on, false to cut the connection.
  bool proceed(std::string_view method, std::string_view data);
  /// libmicrohttpd's thread: copies what is next of the body of rows; libmicrohttpd's conventions.
  ssize_t readBody(char* buffer, std::size_t most);
  /// libmicrohttpd's thread: the request has been read, as far as it matters.
  bool isReceived() const { return _received; }
  /// libmicrohttpd's thread: the answer has gone out, or the connection has gone.
  void close();

  /// Any thread: the hub ends. Gives up the work under way, answers who waits for it with 503, and lets no
  /// more work begin.
  void end();
  /// Any thread: the client does not wait for the answer any more. A command that has not begun is left out.
  void clientLeft() override;
  /// Any thread, about once a second: ends what takes too long.
  void checkTime(ZOVClock::Steady now);

 private:
  enum class Phase { Head, Body, Routed };

  bool admit(std::string_view method);
  bool takeBody(std::string_view data);
  void route();
  void openStream(EventTables tables);
  std::string header(const char* name) const;  ///< "" when it is absent
  /// Suspends the connection and has a worker do the work.
  void answerLater(const Work& work);
  void produce(std::shared_ptr<Production> production);
  /// Gives the parts of the production to workers; false when none was taken.
  bool submitParts();
  /// Suspends the connection; false when the hub ends.
  bool beginToWait();
  /// Any thread: the answer of work, to a connection that still waits for it.
  void finish(Answer answer);
  /// Any thread: there may be more of the body.
  void bodyChanged();
  bool sendBody();
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
  bool _received = false;
  bool _sendsBody = false;
  bool _waits = false;                   // the connection was suspended for work
  Places* _place = nullptr;              // what this exchange has taken of it
  std::shared_ptr<EventStream> _stream;  // set before the client is watched
  std::uint64_t _watch = 0;              // of _desk.departures

  // Set before the exchange is shared with other threads.
  std::shared_ptr<Production> _production;
  ZOVClock::Steady _deadline;
  ZOVClock::Steady _readerDeadline;  // of checkTime's thread

  Mutex _mutex;
  Suspension _suspension ZOV_GUARDED_BY(_mutex);
  std::optional<Answer> _answer ZOV_GUARDED_BY(_mutex);
  bool _ended ZOV_GUARDED_BY(_mutex) = false;
};

}  // namespace zov::hub
