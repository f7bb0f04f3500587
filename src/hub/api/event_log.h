#pragma once
// The newest events of all tables, as texts that are ready to be sent.

#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <string_view>

#include "hub/api/answer.h"
#include "platform/mutex.h"

namespace zov::hub {

/// One place for the events of every reader: an event is written once, and a reader is a position. Positions
/// count events from 1. Any thread; the mutex is innermost.
class EventLog {
 public:
  explicit EventLog(std::size_t most);

  /// Adds a row as a server-sent event, and gives its position. The oldest goes when there are too many.
  std::uint64_t add(const Table& table, const char* row);
  /// The first event of these tables at `position` or behind it, and moves the position behind that; null,
  /// and the position at the end, when there is none yet. Events before oldest() count as read.
  std::shared_ptr<const std::string> next(std::uint64_t& position, const EventTables& tables) const;

  std::uint64_t oldest() const;  ///< the position of the oldest event that is kept
  std::uint64_t end() const;     ///< the position of the next event
  /// The position behind the event of that id; of an id that is not of this log, that of the oldest event.
  std::uint64_t after(std::string_view id) const;

 private:
  struct Event {
    const TableManager* table;  // compared only
    std::shared_ptr<const std::string> text;
  };

  const std::size_t _most;
  const std::string _run;  // of ids: another agent, or another start of it, has another
  mutable Mutex _mutex;
  std::deque<Event> _events ZOV_GUARDED_BY(_mutex);
  std::uint64_t _oldest ZOV_GUARDED_BY(_mutex) = 1;
};

}  // namespace zov::hub
