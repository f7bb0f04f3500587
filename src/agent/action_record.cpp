#include "agent/action_record.h"

#include "diag/agent_log.h"
#include "runtime/trace_scope.h"

static DGT1_Unit traceUnit("ZOVCACTR");

namespace zov {

namespace {

thread_local std::shared_ptr<Action> carried;

class RecordedScript : public ScriptObserver {
 public:
  explicit RecordedScript(std::shared_ptr<Action> action) : _action(std::move(action)) { _action->queue(); }
  void scriptBegins() override { _action->begin(); }
  void scriptEnded(const ZOVReturnCode& code, const RWCString& reason, const RWCString& lines) override {
    const bool isDone = code == ZOV_OK;
    _action->end(isDone ? CommandOutcome::Done : CommandOutcome::Failed, reason.str(),
                 isDone ? std::string() : lines.str());
  }

 private:
  const std::shared_ptr<Action> _action;
};

}  // namespace

CarriedAction::CarriedAction(std::shared_ptr<Action> action) {
  carried = std::move(action);
}

CarriedAction::~CarriedAction() {
  carried.reset();
}

std::shared_ptr<ScriptObserver> observeScript() {
  return carried ? std::make_shared<RecordedScript>(carried) : nullptr;
}

void logAction(const ActionRecord& record) {
  ZOV_TRACE(Public);
  ZOV_LOG_MESSAGE(ZOVA0185I, static_cast<long long>(record.number), record.command.c_str(),
                  record.node.c_str(), record.who.c_str(), record.reason.c_str(), record.milliseconds);
}

}  // namespace zov
