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
  ZOV_TRACE(Public);
  const zov::MutexLock lock(_mutex);
  _queue.emplace_back(path, command, arguments);
  _changed.notifyAll();
}

void ZOVSystemCommandManager::partFromAgent() {
  ZOV_TRACE(Public);
  const zov::MutexLock lock(_mutex);
  _parted = true;
  while (!_resting) _changed.wait(_mutex);
}

void ZOVSystemCommandManager::backgroundProcessing() {
  ZOV_TRACE(Public);
  setResting(false);
  startupCompleted(1);
  while (!isShutdownRequested()) {
    if (::isShutdownRequested()) requestShutdown();
    guarded(ZOV_PLACE, [this] { runNextCommand(); });
  }
}

void ZOVSystemCommandManager::setResting(bool resting) {
  const zov::MutexLock lock(_mutex);
  _resting = resting;
  _changed.notifyAll();
}

void ZOVSystemCommandManager::runNextCommand() {
  ZOV_FUNCTION;
  const SystemCommand command = takeCommand();
  const ZOVReturnCode rc = command.start(*this);
  if (rc == ZOV_OK) {
    ZOV_LOG_MESSAGE(ZOVA0071I, command.getCommand(), command.getServer());
  } else {
    ZOV_LOG_ERROR(ZOVA0072E, command.getCommand(), command.getServer(), rc.getDescription());
  }
}

/// Rests until there is a command; once parted, for the rest of the process's life.
ZOVSystemCommandManager::SystemCommand ZOVSystemCommandManager::takeCommand() {
  const zov::MutexLock lock(_mutex);
  _resting = true;
  _changed.notifyAll();
  while (_parted || _queue.empty()) _changed.wait(_mutex);
  _resting = false;
  SystemCommand command = std::move(_queue.front());
  _queue.pop_front();
  return command;
}

int ZOVSystemCommandManager::runAtRest(const char* line) {
  setResting(true);
  const int result = std::system(line);
  const zov::MutexLock lock(_mutex);
  while (_parted) _changed.wait(_mutex);
  _resting = false;
  return result;
}

ZOVReturnCode ZOVSystemCommandManager::SystemCommand::start(ZOVSystemCommandManager& manager) const {
  ZOV_TRACE(Public);
  DGT1_Printf(traceUnit, DGT1_DETAIL, "Path = %s", _path.data());
  const RWCString line = _path + "/" + _command + " " + _arguments;
  DGT1_Printf(traceUnit, DGT1_DETAIL, "Executable = %s", line.data());
  const int result = manager.runAtRest(line.data());
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
