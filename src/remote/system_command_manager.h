#pragma once
// ZOVSystemCommandManager: runs the scripts that start and stop application servers, strictly in order and
// one at a time, on a thread of its own, so that nobody waits for them. A command that fails is reported and
// dropped. The thread is never told to end: it ends with the process, since a script may take as long as it
// likes. So the agent's end parts the two before it takes away what the thread uses: see partFromAgent.

#include <deque>
#include <functional>
#include <memory>

#include "foundation/string.h"
#include "platform/mutex.h"
#include "remote/script_runner.h"
#include "runtime/return_code.h"
#include "runtime/task.h"
#include "server/server_script.h"

class ZOVSystemCommandManager : public ZOVAsynchronousTask {
 public:
  /// One script on its way. On the manager's thread alone.
  class SystemCommand {
   public:
    explicit SystemCommand(zov::ServerScript script) : _script(std::move(script)) {}
    /// Runs the script and waits for its end: 0, or 43 when it could not be run or did not end with 0.
    ZOVReturnCode start(ZOVSystemCommandManager& manager);
    /// Waits for the end of the script, and answers 0; at once when none runs.
    ZOVReturnCode stop();
    const RWCString& getCommand() const { return _script.command; }
    RWCString getServer() const { return _script.server(); }
    /// The end of what the script has written, as whole lines as far as it has them, with the secret left
    /// out. After its end.
    void getOutput(RWCString* text) const { *text = _output; }
    void getError(RWCString* text) const { *text = _error; }
    const RWCString& refusal() const { return _refusal; }  ///< why it was not run; empty when it was
    RWCString ending() const;                              ///< that, or how it ended; a sentence
    void callAfterwards() const {
      if (_script.afterwards) _script.afterwards();
    }
    zov::ScriptObserver* observer() const { return _script.observer.get(); }

   private:
    RWCString line() const;
    RWCString shown(RWCString text) const;
    void traceEnd() const;

    zov::ServerScript _script;
    std::unique_ptr<zov::ScriptRun> _run;  // null when none runs
    int _status = 0;                       // in waitpid's form
    int _errno = 0;                        // when there was no status
    RWCString _refusal;
    RWCString _output;
    RWCString _error;
  };

  /// Most commands that wait.
  static constexpr std::size_t MostQueued = 1000;

  explicit ZOVSystemCommandManager(std::unique_ptr<zov::ScriptRunner> runner);

  void backgroundProcessing() override;
  /// Any thread may queue: 176, or 43 when as many wait as may.
  ZOVReturnCode QueueCommand(zov::ServerScript script);
  /// On return the thread rests, or is inside a script, and touches nothing of the agent ever after: a script
  /// under way runs on unobserved, and what is queued is not run. Called once, before the agent goes.
  void partFromAgent();

 private:
  void setResting(bool resting);
  void run(SystemCommand& command);
  void atRest(const std::function<void()>& wait);
  SystemCommand takeCommand();

  const std::unique_ptr<zov::ScriptRunner> _runner;
  zov::Mutex _mutex;
  zov::Condition _changed;
  std::deque<SystemCommand> _queue ZOV_GUARDED_BY(_mutex);
  bool _parted ZOV_GUARDED_BY(_mutex) = false;
  /// The thread waits for a command or for the end of a script, or does not run.
  bool _resting ZOV_GUARDED_BY(_mutex) = true;
};
