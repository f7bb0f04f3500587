#include "server/server_thread.h"

#include <utility>

#include "platform/clock.h"
#include "runtime/environment.h"
#include "runtime/recovery.h"
#include "runtime/trace_scope.h"
#include "runtime/waits.h"

static DGT1_Unit traceUnit("ZOVASTHR");

namespace zov {

namespace {
constexpr unsigned int StackSize = 0x100000;
constexpr long SecondsBehindFailure = 1;

std::chrono::steady_clock::time_point momentIn(long seconds) {
  const timespec deadline = ZOVClock::deadlineIn(std::chrono::seconds(seconds));
  return std::chrono::steady_clock::time_point(std::chrono::seconds(deadline.tv_sec) +
                                               std::chrono::nanoseconds(deadline.tv_nsec));
}

/// Behind a turn that failed its thread holds no lock by right: one that it still has was lost in a raise.
void releaseLocksOfTurn() {
  if (ZOVRecoverableThread* const thread = ZOVAgentEnvironment::getActiveThread()) thread->freeAllLocks();
}
}  // namespace

ServerThread::~ServerThread() {
  std::shared_ptr<ZOVRecoverableThread> last;
  {
    const MutexLock lock(_mutex);
    last.swap(_thread);
  }
  last.reset();  // waits for the last steps of a thread that has said that it ended
}

bool ServerThread::start() {
  ZOV_TRACE(Restricted);
  auto thread = std::make_shared<ZOVRecoverableThread>(&run, this, 0, StackSize);
  std::shared_ptr<ZOVRecoverableThread> former;
  {
    const MutexLock lock(_mutex);
    if (_ended) return false;
    if (_state != State::Idle) {
      wakeHeld();
      return _state == State::Running && !_stopping;
    }
    former = std::exchange(_thread, thread);
    _stopping = false;
    _state = State::Running;
  }
  former.reset();
  bool started = false;
  withCleanup([&] { started = thread->start(nullptr); },
              [&] {
                if (started) return;
                setState(State::Ending);
                _work.startFailed();
                setState(State::Idle);
              });
  return started;
}

void ServerThread::wake() {
  const MutexLock lock(_mutex);
  if (_state != State::Idle) wakeHeld();
}

void ServerThread::wakeHeld() {
  _woken = true;
  _wakeup.post();
}

void ServerThread::requestStop() {
  const MutexLock lock(_mutex);
  _stopping = true;
  wakeHeld();
}

void ServerThread::stopUnlessWoken() {
  const MutexLock lock(_mutex);
  if (!_woken) _stopping = true;
}

void ServerThread::requestEnd() {
  const MutexLock lock(_mutex);
  _ended = true;
  _stopping = true;
  wakeHeld();
}

void ServerThread::waitUntilStopped() {
  const MutexLock lock(_mutex);
  while (_state != State::Idle) _changed.wait(_mutex);
}

bool ServerThread::end() {
  ZOV_TRACE(Restricted);
  requestEnd();
  std::shared_ptr<ZOVRecoverableThread> thread;
  {
    const MutexLock lock(_mutex);
    thread = _thread;
  }
  if (!thread) return hasEnded();
  if (thread->isThisCurrentThread()) return false;
  if (!waitUntilIdle(zovWaits().threadStopSeconds)) {
    {
      const MutexLock lock(_mutex);
      _killed = true;
    }
    thread->kill();
  }
  return hasEnded();
}

bool ServerThread::waitUntilIdle(long seconds) {
  const auto deadline = momentIn(seconds);
  const MutexLock lock(_mutex);
  while (_state != State::Idle) {
    if (!_changed.waitUntil(_mutex, deadline)) return _state == State::Idle;
  }
  return true;
}

bool ServerThread::isRunning() const {
  const MutexLock lock(_mutex);
  return _state != State::Idle;
}

bool ServerThread::hasEnded() const {
  const MutexLock lock(_mutex);
  return _state == State::Idle && !_killed;
}

void ServerThread::setState(State state) {
  const MutexLock lock(_mutex);
  _state = state;
  _resting = false;
  _changed.notifyAll();
}

void ServerThread::settle() {
  const MutexLock lock(_mutex);
  if (_state == State::Idle) return;
  wakeHeld();
  while (_state != State::Idle && (_woken || !_resting)) _changed.wait(_mutex);
}

// --- On the thread.

int ServerThread::run(void* self, ZOVThread*) {
  auto& thread = *static_cast<ServerThread*>(self);
  withCleanup([&] { thread.takeTurns(); },
              [&] {
                thread.setState(State::Ending);
                thread._work.threadEnds();
                thread.setState(State::Idle);
              });
  return 0;
}

void ServerThread::takeTurns() {
  ZOV_TRACE(Private);
  guarded(ZOV_PLACE, [&] { _work.threadBegins(); });
  while (!_stopping) {
    const auto failure = guarded(ZOV_PLACE, [&] {
      rest(_work.secondsToNextTurn());
      if (!_stopping) _work.turn();
    });
    if (!failure) continue;
    releaseLocksOfTurn();
    if (!_work.turnFailed(failure->getReturnCode())) rest(SecondsBehindFailure);
    wake();
  }
}

void ServerThread::rest(long seconds) {
  if (seconds > 0) {
    {
      const MutexLock lock(_mutex);
      _resting = true;
      _changed.notifyAll();
    }
    _wakeup.waitWithTimeout(seconds);
  }
  const MutexLock lock(_mutex);
  _wakeup.reset();
  _woken = false;
  _resting = false;
}

}  // namespace zov
