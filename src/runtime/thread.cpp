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

void ZOVThread::HeldLockPlaceholderTable::addNewEntry(const ZOVLock* lock, const void* token) {
  if (isFull()) {
    zovRaise(ZOVException(ZOV_TOO_MANY_LOCKS));
    return;
  }
  int index = 0;
  while (_pairs[index].lock != nullptr) ++index;
  _pairs[index] = {lock, token};
  --_freeCount;
  ++_usedCount;
  _lastIndex.store(index, std::memory_order_relaxed);
  if (index > _highestIndex) _highestIndex = index;
}

int ZOVThread::HeldLockPlaceholderTable::indexOf(const ZOVLock* lock) const {
  const int last = _lastIndex.load(std::memory_order_relaxed);
  if (last >= 0 && _pairs[last].lock == lock) return last;
  for (int i = 0; i <= _highestIndex; ++i) {
    if (_pairs[i].lock == lock) return i;
  }
  return -1;
}

void ZOVThread::HeldLockPlaceholderTable::removeEntry(const ZOVLock* lock) {
  const int index = indexOf(lock);
  if (index < 0) return;
  _pairs[index] = {};
  ++_freeCount;
  --_usedCount;
  if (index == _highestIndex) --_highestIndex;
  if (index == _lastIndex.load(std::memory_order_relaxed)) _lastIndex.store(-1, std::memory_order_relaxed);
}

const void* ZOVThread::HeldLockPlaceholderTable::getTokenFor(const ZOVLock* lock) const {
  const int index = indexOf(lock);
  if (index < 0) return nullptr;
  _lastIndex.store(index, std::memory_order_relaxed);
  return _pairs[index].token;
}

bool ZOVThread::HeldLockPlaceholderTable::isLockOwned(const ZOVLock* lock) const {
  const int index = indexOf(lock);
  if (index >= 0) _lastIndex.store(index, std::memory_order_relaxed);
  return index >= 0;
}

const ZOVLock* ZOVThread::HeldLockPlaceholderIterator::next() {
  while (_index <= _table._highestIndex) {
    if (const ZOVLock* lock = _table._pairs[_index++].lock) return lock;
  }
  return nullptr;
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

void ZOVThread::lockAcquired(ZOVLock& lock, int type, void* token) {
  if (_state.load(std::memory_order_relaxed) != Running) setState(Running);
  if (_lockWaitedFor.load(std::memory_order_relaxed) != nullptr) _lockWaitedFor = nullptr;
  tableFor(type).addNewEntry(&lock, token);
}

void ZOVThread::lockFreed(ZOVLock& lock, int type) {
  tableFor(type).removeEntry(&lock);
}

void ZOVThread::forgetLock(const ZOVLock& lock) {
  const ZOVLock* expected = &lock;
  _lockWaitedFor.compare_exchange_strong(expected, nullptr);
}

const void* ZOVThread::getLockToken(const ZOVLock& lock) const {
  return _sharedLocks.getTokenFor(&lock);
}

void ZOVThread::callForEachLockHeld(void (*function)(const ZOVLock*, const ZOVThread*, void*),
                                    void* context) const {
  HeldLockPlaceholderIterator exclusive(_exclusiveLocks);
  while (const ZOVLock* lock = exclusive.next()) function(lock, this, context);
  HeldLockPlaceholderIterator shared(_sharedLocks);
  while (const ZOVLock* lock = shared.next()) {
    if (!_exclusiveLocks.isLockOwned(lock)) function(lock, this, context);
  }
}

void ZOVThread::freeAllLocks() {
  ZOV_TRACE(Restricted);
  for (HeldLockPlaceholderTable* table : {&_exclusiveLocks, &_sharedLocks}) {
    for (;;) {
      const ZOVLock* lock = HeldLockPlaceholderIterator(*table).next();
      if (lock == nullptr) break;
      const_cast<ZOVLock*>(lock)->release(All);
      const zov::RecursiveLock locks(*ZOVLock::pLockMutex);
      table->removeEntry(lock);
    }
  }
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
  if (_exclusiveLocks.entries() == 0 && _sharedLocks.entries() == 0) return;
  DGT1_Printf(traceUnit, DGT1_ERROR, "   Dump of locks held follows");
  for (const HeldLockPlaceholderTable* table : {&_exclusiveLocks, &_sharedLocks}) {
    const bool exclusive = table->getMode() == HeldLockPlaceholderTable::ExclusiveMode;
    HeldLockPlaceholderIterator held(*table);
    while (const ZOVLock* lock = held.next()) {
      DGT1_Printf(traceUnit, DGT1_ERROR, "   The following lock is held %s",
                  exclusive ? "exclusively" : "shared");
      lock->diagDump();
    }
  }
}
