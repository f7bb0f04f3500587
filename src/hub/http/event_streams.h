#pragma once
// Event streams: answers that never end, to which events are added as they come.

#include <cstddef>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "hub/api/events.h"
#include "hub/core/request.h"
#include "hub/http/suspension.h"
#include "platform/mutex.h"

namespace zov::hub {

/// One reader's stream. The thread that has an event puts it behind the buffer, under the lock of the table's
/// manager; libmicrohttpd's thread sends from its front, and the connection is suspended while it is empty.
/// Owned by its exchange and by EventStreams. `_mutex` is taken under managers' locks.
class EventStream : public std::enable_shared_from_this<EventStream> {
 public:
  EventStream(MHD_Connection* connection, std::size_t mostUnsentBytes, std::shared_ptr<EventWriter> writer);

  /// libmicrohttpd's thread: opens a request of each table.
  void follow(const EventTables& tables);
  /// libmicrohttpd's thread: copies what is to be sent; libmicrohttpd's conventions for the result.
  ssize_t read(char* buffer, std::size_t most);
  /// libmicrohttpd's thread: the connection has gone. Closes the requests.
  void close();

  /// Any thread: adds a comment line if nothing else is on its way.
  void keepAlive();
  /// Any thread: nothing more comes; what has been added is still sent.
  void end();

 private:
  /// Adds the rows that the request holds as events; false when no one reads them any more.
  bool deliver(const Table& table, const tqbox& box);
  void append(std::string_view text) ZOV_REQUIRES(_mutex);

  const std::size_t _mostUnsentBytes;
  const std::shared_ptr<EventWriter> _writer;
  std::vector<std::unique_ptr<Request>> _requests;  // of libmicrohttpd's thread

  Mutex _mutex;
  Suspension _suspension ZOV_GUARDED_BY(_mutex);
  std::string _unsent ZOV_GUARDED_BY(_mutex);
  bool _ended ZOV_GUARDED_BY(_mutex) = false;
  bool _dropped ZOV_GUARDED_BY(_mutex) = false;  // the reader was too far behind
};

/// The open streams of a server, at most so many. Its mutex is taken before a stream's.
class EventStreams {
 public:
  EventStreams(std::size_t most, std::size_t mostUnsentBytes);

  /// libmicrohttpd's thread. The refusal when as many are open as may be, or after end.
  std::variant<std::shared_ptr<EventStream>, Answer> open(MHD_Connection* connection,
                                                          const EventTables& tables);
  void close(const std::shared_ptr<EventStream>& stream);

  /// Any thread.
  void keepAlive();
  /// Any thread: ends all streams, and opens no more.
  void end();

 private:
  const std::size_t _most;
  const std::size_t _mostUnsentBytes;
  const std::shared_ptr<EventWriter> _writer = std::make_shared<EventWriter>();

  Mutex _mutex;
  std::set<std::shared_ptr<EventStream>> _streams ZOV_GUARDED_BY(_mutex);
  bool _ending ZOV_GUARDED_BY(_mutex) = false;
};

}  // namespace zov::hub
