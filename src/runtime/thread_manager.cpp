#include "runtime/thread_manager.h"

#include <algorithm>
#include <cstdlib>

#include "platform/services.h"
#include "runtime/environment.h"
#include "runtime/message_numbers.h"
#include "runtime/recovery.h"
#include "runtime/thread.h"
#include "runtime/trace_scope.h"

static DGT1_Unit traceUnit("ZOVCTHMG");

namespace {
int defaultMaximum() {
  static const int maximum = ZOVThreadManager::maximumFrom(OSL1_GetEnv("ZOV_MAX_TM_THREADS", ""));
  return maximum;
}
}  // namespace

int ZOVThreadManager::maximumFrom(const char* setting) {
  const long number = setting != nullptr ? std::strtol(setting, nullptr, 10) : 0;
  return number < 1 ? DefaultMaximum : static_cast<int>(std::min(number, 100'000L));
}

ZOVThreadManager::ZOVThreadManager(ZOVDiagnosticServices* log, int maximum)
    : _log(log),
      _maximum(maximum != 0 ? maximum : defaultMaximum()),
      _valid(_allDone.isValid() && _mutex.isValid()) {
  ZOV_TRACE(Public);
  if (_valid) return;
  logStartFailure("ZOVThreadManager Constructor",
                  _allDone.isValid() ? _mutex.getErrorCode() : _allDone.getErrorCode());
}

ZOVThreadManager::~ZOVThreadManager() {
  ZOV_TRACE(Public);
  killAllThreads();
  for (ZOVThread* thread : _completed) delete thread;
  for (ZOVThread* thread : _waiting) delete thread;
}

void ZOVThreadManager::logStartFailure(const char* function, int error) const {
  if (_log == nullptr) return;
  const DGT1_Arg arguments[] = {function, error};
  _log->logError("ZOVCTHMG", function, __LINE__, ZOVA0003E, arguments);
}

bool ZOVThreadManager::take(Threads& threads, ZOVThread* thread) {
  return std::erase(threads, thread) != 0;
}

bool ZOVThreadManager::startOrQueue(ZOVThread& thread) {
  const auto running = static_cast<int>(_running.size());
  if (running < _maximum) {
    _running.push_back(&thread);  // before the start: its end looks for it here
    if (thread.start(this)) return true;
    take(_running, &thread);
    if (running > 0) _maximum = running;
  }
  _waiting.push_back(&thread);
  return !_running.empty();
}

void ZOVThreadManager::executeNewThread(ZOVThread& thread) {
  ZOV_TRACE(Public);
  if (!_valid) return;
  bool anyRuns = true;
  const int depth = _mutex.depth();
  const auto failure = guarded(ZOV_PLACE, [&] {
    const zov::RecursiveLock lock(_mutex);
    _allDone.reset();
    anyRuns = startOrQueue(thread);
  });
  _mutex.releaseTo(depth);
  if (failure) zovRaise(*failure);
  if (!anyRuns) killAllThreads();
}

void ZOVThreadManager::ThreadIsDone(ZOVThread& thread) {
  ZOV_TRACE(Public);
  bool anyRuns = true;
  {
    const zov::RecursiveLock lock(_mutex);
    if (!take(_running, &thread)) return;
    _completed.push_back(&thread);
    thread.markEnded();
    if (!_waiting.empty() && static_cast<int>(_running.size()) < _maximum) {
      ZOVThread* next = _waiting.front();
      _waiting.erase(_waiting.begin());
      anyRuns = startOrQueue(*next);
    }
    if (_waiting.empty() && _running.empty()) _allDone.post();
  }
  if (!anyRuns) killAllThreads();
}

void ZOVThreadManager::waitForAllThreads() {
  ZOV_TRACE(Public);
  if (!_valid) return;
  for (;;) {
    {
      const zov::RecursiveLock lock(_mutex);
      if (_running.empty() && _waiting.empty()) break;
    }
    _allDone.wait();
  }
  _allDone.reset();
}

ZOVThread* ZOVThreadManager::lastOf(Threads ZOVThreadManager::*threads) const {
  const zov::RecursiveLock lock(_mutex);
  const Threads& all = this->*threads;
  return all.empty() ? nullptr : all.back();
}

void ZOVThreadManager::killAllThreads() {
  ZOV_TRACE(Public);
  bool anyRan = false;
  {
    const zov::RecursiveLock lock(_mutex);
    if (!_valid) return;
    _maximum = 0;
  }
  while (ZOVThread* thread = lastOf(&ZOVThreadManager::_waiting)) {
    thread->kill();
    const zov::RecursiveLock lock(_mutex);
    if (take(_waiting, thread)) _completed.push_back(thread);
  }
  while (ZOVThread* thread = lastOf(&ZOVThreadManager::_running)) {
    anyRan = true;
    if (!thread->kill()) ThreadIsDone(*thread);
  }
  const zov::RecursiveLock lock(_mutex);
  _valid = false;
  if (!anyRan) _allDone.post();
}
