#include "runtime/task.h"

#include <cstdint>

#include "runtime/recoverable_thread.h"
#include "runtime/recovery.h"
#include "runtime/trace_scope.h"

static DGT1_Unit traceUnit("ZOVCATSK");

namespace {
constexpr unsigned int StackSize = 0x100000;
}

ZOVAsynchronousTask::ZOVAsynchronousTask(const char* lockName) : _taskLock(lockName) {}

ZOVAsynchronousTask::~ZOVAsynchronousTask() {
  ZOVAsynchronousTask::shutdown();
  _threadObject.reset();  // waits for the very end of the thread, which uses the events
}

int ZOVAsynchronousTask::startBackgroundThread() {
  ZOV_TRACE(Public);
  return holding(_taskLock, Exclusive, [this]() ZOV_REQUIRES(_taskLock) -> int {
    if (_thread != nullptr) return _startupResult;
    _threadObject.reset();
    _threadDoneEvent.reset();
    _startupEvent.reset();
    _started = false;
    _threadObject = std::make_unique<ZOVRecoverableThread>(&ZOVAsynchronousTask::launchBackgroundProcessing,
                                                           this, 0, StackSize);
    _thread = _threadObject.get();
    if (!_threadObject->start(nullptr)) {
      _thread = nullptr;
      _threadObject.reset();
      startupCompleted(0);
    }
    _startupEvent.wait();
    return _startupResult;
  });
}

void ZOVAsynchronousTask::startupCompleted(int result) {
  ZOV_TRACE(Public);
  _startupResult = result;
  _started = true;
  _startupEvent.post();
}

int ZOVAsynchronousTask::launchBackgroundProcessing(void* object, ZOVThread* thread) {
  ZOV_TRACE(Public);
  auto* task = static_cast<ZOVAsynchronousTask*>(object);
  DGT1_Printf(traceUnit, DGT1_DETAIL, "Thread %X is launched", reinterpret_cast<std::uintptr_t>(task));
  withCleanup([task] { task->backgroundProcessing(); }, [task, thread] { task->lastSteps(*thread); });
  return 0;
}

void ZOVAsynchronousTask::lastSteps(ZOVThread& thread) {
  thread.freeAllLocks();
  if (!_started) startupCompleted(0);
  {
    const zov::ExclusiveLock lock(_taskLock);
    _thread = nullptr;
    _startupResult = 0;
  }
  threadEnded();
  _threadDoneEvent.post();
}

void ZOVAsynchronousTask::shutdown() {
  ZOV_TRACE(Public);
  DGT1_Printf(traceUnit, DGT1_DETAIL, "Attempting to shutdown thread %X",
              reinterpret_cast<std::uintptr_t>(this));
  // A thread that ends by itself may still be in its last steps, which use the task.
  const bool wasStarted = holding(_taskLock, Exclusive, [this]() ZOV_REQUIRES(_taskLock) {
    if (_thread != nullptr) {
      _shutdownRequested = true;
      _shutdownEvent.post();
    }
    return _threadObject != nullptr;
  });
  if (wasStarted) {
    _threadDoneEvent.wait();
    _threadDoneEvent.post();  // for another that shuts down at the same time
    _thread = nullptr;
  }
  DGT1_Printf(traceUnit, DGT1_DETAIL, "Thread %X is shutdown", reinterpret_cast<std::uintptr_t>(this));
}
