#pragma once
// The record of actions: the last ones, and all that run or wait.

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "framework/actions.h"
#include "platform/clock.h"
#include "platform/mutex.h"

namespace zov::hub {

class RecordedAction;

/// The one log of the process; never destroyed. Any thread; its mutex is held for no call out of it.
class ActionLog {
 public:
  static constexpr std::size_t EndedKept = 200;

  static ActionLog& instance();
  /// A new record, which waits.
  std::shared_ptr<RecordedAction> open(const std::string& who, const std::string& node,
                                       const std::string& command);
  std::vector<ActionRecord> all() const;  ///< in the order of their coming
  std::optional<ActionRecord> find(std::uint64_t number) const;

 private:
  friend class RecordedAction;
  struct Entry {
    ActionRecord record;
    ZOVClock::Steady came;
    int open = 1;   // pieces of work that have not ended
    int begun = 0;  // of these, under way
  };

  ActionLog() = default;
  static ActionRecord shown(const Entry& entry);
  /// Lets `change` change the entry; when no piece of work is left by then the record ends.
  template <class Change>
  void change(std::uint64_t number, const Change& change);
  void forgetOldest() ZOV_REQUIRES(_mutex);

  mutable Mutex _mutex;
  std::map<std::uint64_t, Entry> _entries ZOV_GUARDED_BY(_mutex);
  std::size_t _ended ZOV_GUARDED_BY(_mutex) = 0;  // of the entries
  std::uint64_t _last ZOV_GUARDED_BY(_mutex) = 0;
};

/// What tells the log of one action.
class RecordedAction : public Action {
 public:
  RecordedAction(ActionLog& log, std::uint64_t number) : _log(log), _number(number) {}
  ~RecordedAction() override;
  RecordedAction(const RecordedAction&) = delete;
  RecordedAction& operator=(const RecordedAction&) = delete;
  std::uint64_t number() const { return _number; }
  void describe(const std::string& command, const std::string& node) override;
  void queue() override;
  void begin() override;
  void end(CommandOutcome outcome, const std::string& reason, const std::string& lines) override;

 private:
  ActionLog& _log;
  const std::uint64_t _number;
};

}  // namespace zov::hub
