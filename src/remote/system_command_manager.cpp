#include "remote/system_command_manager.h"

#include <sys/wait.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "diag/agent_log.h"
#include "diag/quoted_string_parser.h"
#include "runtime/recovery.h"
#include "runtime/shutdown_probe.h"
#include "runtime/trace_scope.h"

static DGT1_Unit traceUnit("ZOVCSYSC");

void ZOVSystemCommandManager::QueueCommand(const RWCString& path, const RWCString& command,
                                           const RWCString& arguments) {
  ZOV_TRACE(Public, "ZOVSystemCommandManager::QueueCommand");
  {
    const std::scoped_lock lock(_queueMutex);
    _queue.emplace_back(path, command, arguments);
  }
  _commandEvent.post();
}

void ZOVSystemCommandManager::backgroundProcessing() {
  ZOV_TRACE(Public, "ZOVSystemCommandManager::backgroundProcessing");
  startupCompleted(1);
  for (;;) {
    _commandEvent.wait();
    guarded(traceUnit.tag(), "ZOVSystemCommandManager::backgroundProcessing",
            [this] { runQueuedCommands(); });
  }
}

void ZOVSystemCommandManager::runQueuedCommands() {
  ZOV_TRACE(Private, "ZOVSystemCommandManager::runQueuedCommands");
  for (;;) {
    if (::isShutdownRequested()) requestShutdown();
    if (isShutdownRequested()) {
      _leftEvent.post();
      return;
    }
    if (!takeFirst()) return;
    const ZOVReturnCode rc = _current.start();
    if (rc == ZOV_OK) {
      ZOV_LOG_MESSAGE(ZOVA0071I, "ZOVSystemCommandManager::backgroundProcessing", _current.getCommand(),
                      _current.getServer());
    } else {
      ZOV_LOG_ERROR(ZOVA0072E, "ZOVSystemCommandManager::backgroundProcessing", _current.getCommand(),
                    _current.getServer(), rc.getDescription());
    }
  }
}

bool ZOVSystemCommandManager::takeFirst() {
  const std::scoped_lock lock(_queueMutex);
  if (_queue.empty()) return false;
  _current = std::move(_queue.front());
  _queue.pop_front();
  return true;
}

ZOVReturnCode ZOVSystemCommandManager::SystemCommand::start() const {
  ZOV_TRACE(Public, "SystemCommand::start");
  DGT1_Printf(traceUnit, DGT1_DETAIL, "Path = %s", _path.data());
  const RWCString line = _path + "/" + _command + " " + _arguments;
  DGT1_Printf(traceUnit, DGT1_DETAIL, "Executable = %s", line.data());
  const int result = std::system(line.data());
  if (result == 0) return ZOV_OK;
  const int error = result == -1 ? errno : WEXITSTATUS(result);
  DGT1_Printf(traceUnit, DGT1_MESSAGE, "Results = %d, WEXITSTATUS=%d, WTERMSIG=%d, WSTOPSIG=%d", result,
              WEXITSTATUS(result), WTERMSIG(result), WSTOPSIG(result));
  DGT1_Printf(traceUnit, DGT1_MESSAGE, "Error message: %s", std::strerror(error));
  return ZOV_UNABLE_TO_START_PROCESS;
}

RWCString ZOVSystemCommandManager::SystemCommand::getServer() const {
  int done = 0;
  return ZOVQuotedStringParser(_arguments, '\'').next(done, " \t\n");
}
