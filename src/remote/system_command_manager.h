#pragma once
// ZOVSystemCommandManager: runs the scripts that start and stop application servers, strictly in order and
// one at a time, on a thread of its own, so that nobody waits for them. A command that fails is reported and
// dropped. The thread is never told to end: it ends with the process, since a script may take as long as it
// likes. So the agent's end parts the two before it takes away what the thread uses: see partFromAgent.

#include <deque>

#include "foundation/string.h"
#include "platform/mutex.h"
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
    ZOVReturnCode start(ZOVSystemCommandManager& manager) const;
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
  /// On return the thread rests, or is inside a script, and touches nothing of the agent ever after: a script
  /// under way runs on unobserved, and what is queued is not run. Called once, before the agent goes.
  void partFromAgent();

 private:
  void setResting(bool resting);
  void runNextCommand();
  int runAtRest(const char* line);
  SystemCommand takeCommand();

  zov::Mutex _mutex;
  zov::Condition _changed;
  std::deque<SystemCommand> _queue ZOV_GUARDED_BY(_mutex);
  bool _parted ZOV_GUARDED_BY(_mutex) = false;
  /// The thread waits for a command or for the end of a script, or does not run.
  bool _resting ZOV_GUARDED_BY(_mutex) = true;
};
