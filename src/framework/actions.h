#pragma once
// What the framework records of the commands that it takes: who asked for what, and what became of it.

#include <cstdint>
#include <string>

#include "framework/tqbox.h"

namespace zov {

/// A command as its record shows it.
struct ActionRecord {
  enum class State { Waiting, Running, Ended };

  std::uint64_t number = 0;  ///< in the order of coming, from 1
  std::string who;           ///< the address that it came from
  std::int64_t when = 0;     ///< wall time of its coming, in microseconds
  std::string node;
  std::string command;  ///< without secrets
  State state = State::Waiting;
  CommandOutcome outcome = CommandOutcome::Queued;  ///< so far
  std::string reason;
  std::string lines;              ///< the end of what scripts wrote that failed
  std::int64_t milliseconds = 0;  ///< from its coming to its end, or to now
};

/// The record of one command, to be told what becomes of it. A command is a piece of work; what it queues are
/// further ones, and the record ends with the last of them. One that is let go of before has failed. Any
/// thread.
class Action {
 public:
  virtual ~Action() = default;
  /// The command without its secrets, and the node that it is for when that is another one. Until then the
  /// record shows the first word of the command, and the node as it was given.
  virtual void describe(const std::string& command, const std::string& node) = 0;
  virtual void queue() = 0;
  virtual void begin() = 0;
  /// Of all outcomes the first failure counts, else the last one.
  virtual void end(CommandOutcome outcome, const std::string& reason, const std::string& lines) = 0;
};

}  // namespace zov

/// Each record is given to `callback` when it ends, on the thread that ended it and with no lock held.
int ARQ_RegisterActionCallback(void (*callback)(const zov::ActionRecord&));
