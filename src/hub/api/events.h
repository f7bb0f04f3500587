#pragma once
// Events of tables: which are followed, and how one is written.

#include <memory>
#include <string>

#include "hub/api/answer.h"
#include "platform/mutex.h"

namespace zov::hub {

/// The tables that the parameters `table` name; all tables without one.
Reply followEvents(const Call& call);

/// Writes rows as server-sent events. Any thread. The last one is remembered, since one event goes to every
/// stream of its table, one after the other.
class EventWriter {
 public:
  std::shared_ptr<const std::string> write(const Table& table, const char* row);

 private:
  Mutex _mutex;
  const Table* _table ZOV_GUARDED_BY(_mutex) = nullptr;  // compared only
  std::string _row ZOV_GUARDED_BY(_mutex);
  std::shared_ptr<const std::string> _text ZOV_GUARDED_BY(_mutex);
};

}  // namespace zov::hub
