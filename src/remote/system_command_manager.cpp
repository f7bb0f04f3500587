#include "remote/system_command_manager.h"

#include <sys/wait.h>

#include <cerrno>
#include <cstring>

#include "diag/agent_log.h"
#include "remote/local_scripts.h"
#include "runtime/recovery.h"
#include "runtime/shutdown_probe.h"
#include "runtime/trace_scope.h"

static DGT1_Unit traceUnit("ZOVCSYSC");

namespace {

constexpr const char* Hidden = "***";
constexpr std::size_t MostShownBytes = 2048;  // of what a script has written

void replaceAll(RWCString& text, const RWCString& what, const char* with) {
  for (std::size_t at = 0; (at = text.index(what.view(), at)) != RW_NPOS; at += std::strlen(with)) {
    text.replace(at, what.length(), with, std::strlen(with));
  }
}

/// A text that has been cut may begin within a secret.
void removeRest(RWCString& text, std::string_view secret) {
  do secret.remove_prefix(1);
  while (!text.view().starts_with(secret));
  text.remove(0, secret.size());
}

void traceLines(const RWCString& text) {
  for (std::size_t at = 0; at < text.length();) {
    const std::size_t end = std::min(text.index("\n", at), text.length());
    DGT1_Printf(traceUnit, DGT1_MESSAGE, "The script wrote: %s", text(at, end - at).data());
    at = end + 1;
  }
}

}  // namespace

ZOVSystemCommandManager::ZOVSystemCommandManager(std::unique_ptr<zov::ScriptRunner> runner)
    : ZOVAsynchronousTask("SystemCommandManager"), _runner(std::move(runner)) {}

ZOVReturnCode ZOVSystemCommandManager::QueueCommand(zov::ServerScript script) {
  ZOV_TRACE(Public);
  const zov::MutexLock lock(_mutex);
  if (_queue.size() >= MostQueued) return ZOV_UNABLE_TO_START_PROCESS;
  _queue.emplace_back(std::move(script));
  _changed.notifyAll();
  return ZOV_COMMAND_QUEUED;
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
    SystemCommand command = takeCommand();
    guarded(ZOV_PLACE, [&] { run(command); });
  }
}

void ZOVSystemCommandManager::setResting(bool resting) {
  const zov::MutexLock lock(_mutex);
  _resting = resting;
  _changed.notifyAll();
}

void ZOVSystemCommandManager::run(SystemCommand& command) {
  ZOV_FUNCTION;
  if (command.observer()) command.observer()->scriptBegins();
  const ZOVReturnCode rc = command.start(*this);
  command.callAfterwards();  // a server that is gone is shown so at once
  RWCString reason = rc.getDescription();
  if (!command.refusal().isNull()) reason += ": " + command.refusal();
  if (rc == ZOV_OK) {
    ZOV_LOG_MESSAGE(ZOVA0071I, command.getCommand(), command.getServer());
  } else {
    ZOV_LOG_ERROR(ZOVA0072E, command.getCommand(), command.getServer(), reason);
  }
  if (command.observer()) {
    RWCString output, error;
    command.getOutput(&output);
    command.getError(&error);
    command.observer()->scriptEnded(rc, command.ending(), output + error);
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

void ZOVSystemCommandManager::atRest(const std::function<void()>& wait) {
  setResting(true);
  wait();
  const zov::MutexLock lock(_mutex);
  while (_parted) _changed.wait(_mutex);
  _resting = false;
}

ZOVReturnCode ZOVSystemCommandManager::SystemCommand::start(ZOVSystemCommandManager& manager) {
  ZOV_TRACE(Public);
  DGT1_Printf(traceUnit, DGT1_DETAIL, "Path = %s", _script.directory.data());
  DGT1_Printf(traceUnit, DGT1_DETAIL, "Executable = %s", line().data());
  _refusal = zov::refusalOfNames(_script);
  bool started = false;
  // The start looks at files and users, which may hang as well as the script.
  const auto startAndWait = [&] {
    _run = manager._runner->start(_script, _refusal);
    started = _run != nullptr;
    stop();
  };
  if (_refusal.isNull()) manager.atRest(startAndWait);
  if (!started) return ZOV_UNABLE_TO_START_PROCESS;
  if (_status == 0) return ZOV_OK;
  traceEnd();
  return ZOV_UNABLE_TO_START_PROCESS;
}

ZOVReturnCode ZOVSystemCommandManager::SystemCommand::stop() {
  if (!_run) return ZOV_OK;
  _status = _run->wait();
  if (_status == -1) _errno = errno;
  _output = shown(_run->output());
  _error = shown(_run->error());
  _run.reset();
  return ZOV_OK;
}

/// As a shell is given it, but for the secret.
RWCString ZOVSystemCommandManager::SystemCommand::line() const {
  RWCString line = zov::shellLine({_script.path()});
  for (const RWCString& argument : _script.arguments) {
    const bool isSecret = !_script.secret.isNull() && argument == _script.secret;
    line += " " + (isSecret ? RWCString(Hidden) : zov::shellLine({argument}));
  }
  return line;
}

RWCString ZOVSystemCommandManager::SystemCommand::shown(RWCString text) const {
  if (const RWCString& secret = _script.secret; !secret.isNull()) {
    if (text.length() == zov::ScriptRun::OutputBytes) removeRest(text, secret.view());
    replaceAll(text, zov::shellLine({secret}), Hidden);
    replaceAll(text, secret, Hidden);
  }
  if (text.length() > MostShownBytes) {
    text.remove(0, text.length() - MostShownBytes);
    if (const std::size_t end = text.index("\n"); end != RW_NPOS) text.remove(0, end + 1);
  }
  return text;
}

RWCString ZOVSystemCommandManager::SystemCommand::ending() const {
  if (!_refusal.isNull()) return _refusal;
  if (_status == 0) return _script.command + " has ended";
  const std::string how = _status == -1          ? std::strerror(_errno)
                          : WIFSIGNALED(_status) ? "signal " + std::to_string(WTERMSIG(_status))
                                                 : "status " + std::to_string(WEXITSTATUS(_status));
  return _script.command + " has ended with " + how;
}

void ZOVSystemCommandManager::SystemCommand::traceEnd() const {
  const int error = _status == -1 ? _errno : WEXITSTATUS(_status);
  DGT1_Printf(traceUnit, DGT1_MESSAGE, "Results = %d, WEXITSTATUS=%d, WTERMSIG=%d, WSTOPSIG=%d", _status,
              WEXITSTATUS(_status), WTERMSIG(_status), WSTOPSIG(_status));
  DGT1_Printf(traceUnit, DGT1_MESSAGE, "Error message: %s", std::strerror(error));
  traceLines(_output);
  traceLines(_error);
}
