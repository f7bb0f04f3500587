#pragma once
// Event streams: answers that never end, to which events are added as they come.

#include <atomic>
#include <cstddef>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "hub/api/event_log.h"
#include "hub/core/request.h"
#include "hub/http/suspension.h"
#include "platform/mutex.h"

namespace zov::hub {

/// One reader's stream: his place in the log. libmicrohttpd's thread sends from there, and the connection is
/// suspended while there is nothing. Owned by its exchange and by EventStreams. The log's mutex is taken
/// under
/// `_mutex`.
class EventStream {
 public:
  /// `position` is that of the first event to send. `log` outlives the stream.
  EventStream(MHD_Connection* connection, EventTables tables, const EventLog& log, std::uint64_t position);
  ~EventStream();

  /// libmicrohttpd's thread: copies what is to be sent; libmicrohttpd's conventions for the result.
  ssize_t read(char* buffer, std::size_t most);
  /// libmicrohttpd's thread: the connection has gone.
  void close();

  /// Any thread: an event has been added. False when the reader had still to get one that has gone from the
  /// log: his connection is cut.
  bool offer(const Table& table, std::uint64_t position);
  /// Any thread: sends a comment line if nothing else is on its way.
  void keepAlive();
  /// Any thread: nothing more comes; what has been begun is still sent.
  void end();
  /// Any thread: the reader has left.
  void cut();

 private:
  bool follows(const Table& table) const;

  const EventTables _tables;
  const EventLog& _log;

  Mutex _mutex;
  Suspension _suspension ZOV_GUARDED_BY(_mutex);
  std::uint64_t _position ZOV_GUARDED_BY(_mutex);
  std::shared_ptr<const std::string> _text ZOV_GUARDED_BY(_mutex);  // being sent
  std::size_t _sent ZOV_GUARDED_BY(_mutex) = 0;                     // bytes of it
  bool _ended ZOV_GUARDED_BY(_mutex) = false;
};

/// The log of a server's events and its open streams, at most so many. There is one request of each table,
/// however many streams: no reader comes between an event and another reader, or the agent. Its mutex is
/// taken under managers' locks and before a stream's; it keeps events in their order.
class EventStreams {
 public:
  EventStreams(std::size_t most, std::size_t eventsKept);

  /// Begins to take the events of all tables that there are.
  void begin();
  /// libmicrohttpd's thread. The stream begins behind the event `lastId`, or with the events to come when
  /// that is empty. The refusal when as many are open as may be, or after end.
  std::variant<std::shared_ptr<EventStream>, Answer> open(MHD_Connection* connection, EventTables tables,
                                                          std::string_view lastId);
  void close(const std::shared_ptr<EventStream>& stream);

  /// Any thread.
  void keepAlive();
  /// Ends all streams, opens no more, and takes no more events. The thread of begin.
  void end();

 private:
  void add(const Table& table, const tqbox& box);

  const std::size_t _most;
  EventLog _log;
  std::vector<std::unique_ptr<Request>> _requests;  // of the thread of begin and end

  Mutex _mutex;
  std::set<std::shared_ptr<EventStream>> _streams ZOV_GUARDED_BY(_mutex);
  bool _ending ZOV_GUARDED_BY(_mutex) = false;
};

}  // namespace zov::hub
