#include "runtime/thread.h"

#include <cstring>

#include "platform/cancellation.h"
#include "runtime/lock.h"
#include "runtime/recovery.h"
#include "runtime/thread_manager.h"
#include "runtime/trace_scope.h"
#include "runtime/waits.h"

static DGT1_Unit traceUnit("ZOVCTHRD");

// Its mutex comes before the thread's state mutex, which the end of a cancelled thread takes inside it.
struct ZOVThread::Life {
  explicit Life(ZOVThread* of) : thread(of) {}
  ZOVMutex mutex;
  ZOVThread* thread ZOV_GUARDED_BY(mutex);  // null once the object is gone
  ZOVEvent unwound;                         // posted when the thread has come to its end

  void setThread(ZOVThread* to) {
    const zov::RecursiveLock lock(mutex);
    thread = to;
  }
};

// The running thread's hold on its life. However the thread ends, by returning or by unwinding, it ends here.
class ZOVThread::LifeScope {
 public:
  explicit LifeScope(std::shared_ptr<Life> life) : _life(std::move(life)) { own = _life.get(); }
  ~LifeScope() {
    const zov::CancellationOff whole;
    ZOVThreadManager* manager = nullptr;
    ZOVThread* thread = nullptr;
    toOwnObject([&](ZOVThread& object) {
      thread = &object;
      manager = object.endOfThread();
    });
    // Outside of the life's mutex, which comes behind the manager's. A managed object stays until this call.
    if (manager != nullptr) manager->ThreadIsDone(*thread);
    zovOwnHeldLocks.releaseAll(true);  // what a thread holds that has parted from its object
    own = nullptr;
    _life->unwound.post();
  }
  LifeScope(const LifeScope&) = delete;
  LifeScope& operator=(const LifeScope&) = delete;

  static constinit thread_local Life* own;  // the calling thread's

 private:
  std::shared_ptr<Life> _life;
};
constinit thread_local ZOVThread::Life* ZOVThread::LifeScope::own = nullptr;

void ZOVThread::toOwnObject(const std::function<void(ZOVThread&)>& action) {
  Life* life = LifeScope::own;
  if (life == nullptr) return;
  const zov::RecursiveLock lock(life->mutex);
  if (life->thread != nullptr) action(*life->thread);
}

const char* ZOVThread::getStateText(int state) {
  static constexpr const char* texts[] = {"Waiting to run",    "Running",   "Paused",   "Waiting for lock",
                                          "Waiting for event", "Suspended", "Completed"};
  return state >= WaitingToRun && state <= Completed ? texts[state] : "Unknown";
}

ZOVThread::ZOVThread(EntryPoint entry, void* argument, int argumentSize, unsigned int stackSize)
    : _stackSize(stackSize),
      _entryPoint(entry),
      _argument(argument),
      _argumentSize(argumentSize),
      _doneEvent(std::make_unique<ZOVEvent>()),
      _stateMutex(std::make_unique<ZOVMutex>()) {
  if (argumentSize <= 0) return;
  const auto size = static_cast<std::size_t>(argumentSize);
  _argument = ZOVMemoryManager::allocate(size);
  if (_argument == nullptr) return;
  std::memcpy(_argument, argument, size);
  _ownsArgument = true;
}

ZOVThread::ZOVThread(const ZOVThread& other)
    : ZOVCollectable(),
      _entryPoint(other._entryPoint),
      _argument(other._argument),
      _doneEvent(std::make_unique<ZOVEvent>()),
      _stateMutex(std::make_unique<ZOVMutex>()) {}

ZOVThread::~ZOVThread() {
  partFromThread();
  detach();
  if (_attributesInitialised) pthread_attr_destroy(&_attributes);
  if (_ownsArgument) ZOVMemoryManager::release(_argument, static_cast<std::size_t>(_argumentSize));
}

void ZOVThread::partFromThread() {
  const zov::CancellationOff whole;
  waitForThreadToFinish();
  const std::shared_ptr<Life> life = std::move(_life);
  if (life == nullptr) return;
  if (_killed) life->unwound.waitWithTimeout(zovWaits().killedThreadSeconds);
  life->setThread(nullptr);
}

int ZOVThread::start(ZOVThreadManager* manager) {
  ZOV_TRACE(Public);
  if (_stateMutex == nullptr) _stateMutex = std::make_unique<ZOVMutex>();
  partFromFormerRun();
  _stateMutex->get();
  const auto failure = guarded(ZOV_PLACE, [&]() ZOV_REQUIRES(*_stateMutex) { createLocked(manager); });
  const int running = _running;
  _stateMutex->release();
  if (failure) zovRaise(*failure);
  return running;
}

// A run that was killed and has yet to come to its end must not touch what the next one uses.
void ZOVThread::partFromFormerRun() {
  std::shared_ptr<Life> former;
  {
    const zov::RecursiveLock lock(*_stateMutex);
    if (!_running) former = _life;
  }
  if (former == nullptr) return;
  former->setThread(nullptr);
  partedFromRun();
}

void ZOVThread::createLocked(ZOVThreadManager* manager) {
  ZOV_FUNCTION;
  if (_running) return;
  _manager = manager;
  if (_doneEvent == nullptr) _doneEvent = std::make_unique<ZOVEvent>();
  _doneEvent->reset();
  if (_attributesInitialised) pthread_attr_destroy(&_attributes);
  pthread_attr_init(&_attributes);
  _attributesInitialised = true;
  pthread_attr_setdetachstate(&_attributes, PTHREAD_CREATE_DETACHED);
  if (_stackSize != 0) pthread_attr_setstacksize(&_attributes, _stackSize);

  _life = std::make_shared<Life>(this);
  auto given = std::make_unique<std::shared_ptr<Life>>(_life);
  _killed = false;
  _state = WaitingToRun;
  const int error = pthread_create(&_handle, &_attributes, ThreadDispatcher, given.get());
  if (error == 0) {
    static_cast<void>(given.release());  // the new thread's now
    _running = true;
    return;
  }
  DGT1_Printf(traceUnit, DGT1_ERROR, "pthread_create failed, rc=%i", error);
  if (manager != nullptr) manager->logStartFailure(zovFunction.text, error);
}

void* ZOVThread::ThreadDispatcher(void* life) {
  const std::unique_ptr<std::shared_ptr<Life>> given(static_cast<std::shared_ptr<Life>*>(life));
  const LifeScope scope(*given);
  ZOVThread* thread = nullptr;
  toOwnObject([&](ZOVThread& object) {
    thread = &object;
    object.enterNewThread();
  });
  if (thread != nullptr) thread->callThreadEP();
  return nullptr;
}

void ZOVThread::enterNewThread() {
  _threadId = pthread_self();
  if (supposedToRegister()) registerThread();
  setState(Running);
}

ZOVThreadManager* ZOVThread::endOfThread() {
  bool deleteNow = false;
  {
    const zov::RecursiveLock lock(*_stateMutex);
    setState(Completed);
    if (supposedToRegister()) deregisterThread();
    if (!_running) return nullptr;
    if (_manager != nullptr) return _manager;
    deleteNow = deleteThreadWhenFinished();
    markEnded();
  }
  if (deleteNow) delete this;
  return nullptr;
}

void ZOVThread::markEnded() {
  const zov::RecursiveLock lock(*_stateMutex);
  _running = false;
  _doneEvent->post();
}

void ZOVThread::callThreadEP() {
  if (_entryPoint == nullptr) return;
  const int exitCode = _entryPoint(_argument, this);
  toOwnObject([exitCode](ZOVThread& object) { object._exitCode = exitCode; });
}

int ZOVThread::kill() {
  ZOV_TRACE(Public);
  if (_stateMutex == nullptr) return 0;
  int killed = 0;
  ZOVThreadManager* manager = nullptr;
  _stateMutex->get();
  const auto failure = guarded(ZOV_PLACE, [&]() ZOV_REQUIRES(*_stateMutex) {
    if (!_running) return;
    _killed = true;
    killed = 1;
    manager = _manager;
    pthread_cancel(_handle);
    setState(Completed);
    if (manager == nullptr) markEnded();
  });
  _stateMutex->release();
  if (failure) zovRaise(*failure);
  if (manager != nullptr) manager->ThreadIsDone(*this);
  return killed;
}

void ZOVThread::waitForThreadToFinish() {
  if (_stateMutex == nullptr) return;
  bool waited = false;
  for (;;) {
    {
      const zov::RecursiveLock lock(*_stateMutex);
      if (!_running || _doneEvent == nullptr) {
        if (waited) _doneEvent->post();  // for others that wait
        return;
      }
    }
    _doneEvent->wait();
    waited = true;
  }
}

int ZOVThread::waitForUnavailableLock(const ZOVLock& lock, int) {
  setState(WaitingForLock);
  _lockWaitedFor = &lock;
  return 1;
}

void ZOVThread::lockAcquired() {
  setState(Running);
  _lockWaitedFor = nullptr;
}

void ZOVThread::forgetLock(const ZOVLock& lock) {
  const ZOVLock* expected = &lock;
  _lockWaitedFor.compare_exchange_strong(expected, nullptr);
}

void ZOVThread::detach() {
  if (_held == nullptr) return;
  const zov::RecursiveLock lock(*ZOVLock::pLockMutex);
  ZOVHeldLocks* held = _held.exchange(nullptr);
  if (held != nullptr) held->thread = nullptr;
}

void ZOVThread::callForEachLockHeld(void (*function)(const ZOVLock*, const ZOVThread*, void*),
                                    void* context) const {
  const ZOVHeldLocks* held = _held;
  if (held == nullptr) return;
  HeldLockPlaceholderIterator exclusive(held->exclusive);
  while (const ZOVLock* lock = exclusive.next()) function(lock, this, context);
  HeldLockPlaceholderIterator shared(held->shared);
  while (const ZOVLock* lock = shared.next()) {
    if (!held->exclusive.isLockOwned(lock)) function(lock, this, context);
  }
}

void ZOVThread::freeAllLocks() {
  ZOV_TRACE(Restricted);
  if (_held == &zovOwnHeldLocks) zovOwnHeldLocks.releaseAll(false);
}

void ZOVThread::diagDump() const {
  dumpUnder(*ZOVLock::pLockMutex, [this] {
    DGT1_Printf(traceUnit, DGT1_ERROR, "   ZOVThread at %p   Thread id %i  Current State %s", this,
                getThreadId(), getStateText(_state));
    dumpLocks();
  });
}

void ZOVThread::dumpLocks() const {
  const ZOVLock* waitedFor = _lockWaitedFor;
  if (_state == WaitingForLock && waitedFor != nullptr) {
    DGT1_Printf(traceUnit, DGT1_ERROR, "   Dump of lock waiting for follows");
    waitedFor->diagDump();
  }
  const ZOVHeldLocks* record = _held;
  if (record == nullptr || record->exclusive.entries() + record->shared.entries() == 0) return;
  DGT1_Printf(traceUnit, DGT1_ERROR, "   Dump of locks held follows");
  for (const HeldLockPlaceholderTable* table : {&record->exclusive, &record->shared}) {
    const bool exclusive = table->getMode() == HeldLockPlaceholderTable::ExclusiveMode;
    HeldLockPlaceholderIterator held(*table);
    while (const ZOVLock* lock = held.next()) {
      DGT1_Printf(traceUnit, DGT1_ERROR, "   The following lock is held %s",
                  exclusive ? "exclusively" : "shared");
      lock->diagDump();
    }
  }
}
