#pragma once
// ZOVSystemCommandManager: runs the scripts that start and stop application servers, strictly in order and
// one at a time, on a thread of its own, so that nobody waits for them. A command that fails is reported and
// dropped. The thread is never told to end: it ends with the process, since a script may take as long as it
// likes.

#include <deque>
#include <mutex>

#include "runtime/foundation/string.h"
#include "runtime/return_code.h"
#include "runtime/task.h"

class ZOVSystemCommandManager : public ZOVAsynchronousTask {
 public:
  /// One script with its arguments. All texts are put on a shell's line as they stand, so what came from
  /// outside must have been quoted.
  class SystemCommand {
   public:
    SystemCommand(const RWCString& path, const RWCString& command, const RWCString& arguments)
        : _path(path), _command(command), _arguments(arguments) {}
    /// Runs the script and waits for its end: 0, or 43 when it could not be run or did not end with 0.
    ZOVReturnCode start() const;
    const RWCString& getCommand() const { return _command; }
    RWCString getServer() const;  ///< the first argument

   private:
    RWCString _path;
    RWCString _command;
    RWCString _arguments;
  };

  ZOVSystemCommandManager() : ZOVAsynchronousTask("SystemCommandManager") {}

  void backgroundProcessing() override;
  /// Any thread may queue.
  void QueueCommand(const RWCString& path, const RWCString& command, const RWCString& arguments);

 private:
  void runQueuedCommands();
  bool takeFirst();

  ZOVEvent _commandEvent;
  ZOVEvent _leftEvent;  // posted when the thread leaves its queue for a shutdown
  std::mutex _queueMutex;
  std::deque<SystemCommand> _queue;  // guarded by _queueMutex
  SystemCommand _current{{}, {}, {}};
};
