#include "runtime/recoverable_thread.h"

#include "platform/frames.h"
#include "platform/message_rate.h"
#include "runtime/environment.h"
#include "runtime/lock.h"
#include "runtime/recovery.h"
#include "runtime/trace_scope.h"

static DGT1_Unit traceUnit("ZOVCRTHR");

namespace {
std::unique_ptr<ZOVInternalTraceTable> makeInternalTrace() {
  const ZOVAgentEnvironment* environment = ZOVAgentEnvironment::pEnvironment.load();
  if (environment == nullptr || environment->getInternalTraceTableSize() <= 0) return nullptr;
  return std::make_unique<ZOVInternalTraceTable>(environment->getInternalTraceTableSize());
}
}  // namespace

ZOVRecoverableThread::ZOVRecoverableThread() : _internalTrace(makeInternalTrace()) {
  _threadId = pthread_self();
}

ZOVRecoverableThread::ZOVRecoverableThread(EntryPoint entry, void* argument, int argumentSize,
                                           unsigned int stackSize)
    : ZOVThread(entry, argument, argumentSize, stackSize), _internalTrace(makeInternalTrace()) {}

ZOVRecoverableThread::~ZOVRecoverableThread() {
  partFromThread();
  ZOVRecoverableThread::partedFromRun();
  while (_bottom != nullptr) {
    ZOVThreadRecoveryEnvironmentElement* above = _bottom->above();
    delete _bottom;
    _bottom = above;
  }
}

int ZOVRecoverableThread::start(ZOVThreadManager* manager) {
  ZOVAgentEnvironment* environment = ZOVAgentEnvironment::pEnvironment.load();
  if (environment == nullptr) return ZOVThread::start(manager);
  if (!environment->threadTable().reserve()) {
    DGT1_PrintfLimited(traceUnit, DGT1_ERROR,
                       "A thread is not started: %i of the table's %i slots are in use",
                       environment->threadTable().entries(), ZOVThreadTable::Capacity);
    return 0;
  }
  int started = 0;
  withCleanup([&] { started = ZOVThread::start(manager); },
              [&] {
                if (!started) environment->threadTable().giveUpReservation();
              });
  return started;
}

// The former run is killed, and has yet to come to its end.
void ZOVRecoverableThread::partedFromRun() {
  ZOVAgentEnvironment* environment = ZOVAgentEnvironment::pEnvironment.load();
  if (_registered && environment != nullptr) {
    const zov::RecursiveLock locks(*ZOVLock::pLockMutex);
    environment->threadTable().remove(this);
  }
  detach();
  _registered = false;
  _top = nullptr;
}

void ZOVRecoverableThread::registerThread() {
  if (ZOVAgentEnvironment* environment = ZOVAgentEnvironment::pEnvironment.load()) {
    environment->registerThread(this);
  }
}

void ZOVRecoverableThread::deregisterThread() {
  freeAllLocks();
  if (!_registered) return;
  if (ZOVAgentEnvironment* environment = ZOVAgentEnvironment::pEnvironment.load()) {
    environment->deregisterThread(this);
  }
}

void ZOVRecoverableThread::callThreadEP() {
  ZOV_FUNCTION;
  const XFR1_Outcome outcome = XFR1_Run(
      [](void* object) {
        auto* thread = static_cast<ZOVRecoverableThread*>(object);
        const auto failure = guarded(ZOV_PLACE, [thread] { thread->ZOVThread::callThreadEP(); });
        if (failure) markFailed();
      },
      this);
  if (!outcome.raised) return;
  markFailed();
  DGT1_Printf(traceUnit, DGT1_ERROR, "Program exception detected in configuration manager thread");
}

void ZOVRecoverableThread::markFailed() {
  toOwnObject([](ZOVThread& thread) { static_cast<ZOVRecoverableThread&>(thread)._failed = true; });
}

int ZOVRecoverableThread::canBeDeleted() const {
  return !_registered && !_beingDeleted && _top.load() == nullptr;
}

void ZOVRecoverableThread::prepareToDelete() {
  _beingDeleted = true;
  freeAllLocks();
  _internalTrace.reset();
}

void ZOVRecoverableThread::pushRecoveryEnvironment(const char* tag, const char* function) {
  ZOVThreadRecoveryEnvironmentElement* top = _top.load(std::memory_order_relaxed);
  ZOVThreadRecoveryEnvironmentElement* next = top != nullptr ? top->above() : _bottom;
  if (next != nullptr) {
    next->reset(tag, function);
  } else {
    next = new ZOVThreadRecoveryEnvironmentElement(tag, function, top);
    if (top == nullptr) _bottom = next;
  }
  _top.store(next, std::memory_order_release);
}

void ZOVRecoverableThread::popRecoveryEnvironment() {
  const ZOVThreadRecoveryEnvironmentElement* top = _top.load(std::memory_order_relaxed);
  if (top != nullptr) _top.store(top->below(), std::memory_order_release);
}

int ZOVRecoverableThread::getRecoveryDepth() const {
  int depth = 0;
  for (const auto* element = _top.load(); element != nullptr; element = element->below()) ++depth;
  return depth;
}

void ZOVRecoverableThread::saveTraceEntry(const char* tag, const char* function, int type, long parameter) {
  if (_internalTrace != nullptr) _internalTrace->save(tag, function, type, parameter);
}

void ZOVRecoverableThread::printInternalTrace() const {
  if (_internalTrace == nullptr) return;
  DGT1_Printf(traceUnit, DGT1_ERROR, "   Internal Trace for thread id %i follows", getThreadId());
  _internalTrace->print();
}

void ZOVRecoverableThread::printStackDump() const {
  if (_internalTrace == nullptr) return;
  DGT1_Printf(traceUnit, DGT1_ERROR, "   Stack dump for thread id %i follows", getThreadId());
  _internalTrace->printStackDump();
}

int ZOVRecoverableThread::getSourceFileAndFunctionName(RWCString& tag, RWCString& function, int depth) const {
  return _internalTrace != nullptr ? _internalTrace->getSourceFileAndFunctionName(tag, function, depth) : 0;
}

void ZOVRecoverableThread::diagDump() const {
  ZOVThread::diagDump();
  DGT1_Printf(traceUnit, DGT1_ERROR, "   Recovery stack follows");
  for (const auto* element = _top.load(); element != nullptr; element = element->below()) {
    DGT1_Printf(traceUnit, DGT1_ERROR, "%s %s", element->getSourceTag(), element->getFunctionName());
  }
  printStackDump();
}
