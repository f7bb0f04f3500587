#pragma once
// What the agent tells the framework's record of a command: the command without its secrets, and what becomes
// of the scripts that it queues; and what it logs of a record. The threads are the framework's and that of
// the system command manager.

#include <memory>

#include "framework/actions.h"
#include "server/server_script.h"

namespace zov {

/// While one lives, the scripts that this thread queues belong to the action, which may be null.
class CarriedAction {
 public:
  explicit CarriedAction(std::shared_ptr<Action> action);
  ~CarriedAction();
  CarriedAction(const CarriedAction&) = delete;
  CarriedAction& operator=(const CarriedAction&) = delete;
};

/// For a script that is queued now: tells the action that this thread carries out; null without one.
std::shared_ptr<ScriptObserver> observeScript();

/// Writes a record that has ended to the agent's log, as message ZOVA0185I.
void logAction(const ActionRecord& record);

}  // namespace zov
