#include "runtime/lock.h"

#include <algorithm>
#include <cstdint>
#include <optional>

#include "runtime/environment.h"
#include "runtime/recoverable_thread.h"
#include "runtime/recovery.h"
#include "runtime/thread.h"
#include "runtime/trace_scope.h"
#include "runtime/waits.h"

static DGT1_Unit traceUnit("ZOVCLOCK");

ZOVMutex* ZOVLock::pLockMutex = nullptr;
LockHolder* ZOVLock::spareHolders = nullptr;

struct ZOVLock::Caller {
  pthread_t id;
  ZOVThread* thread;  // null for a thread that the process does not know
  LockHolder* token;  // its shared hold, as far as its own record tells
};

struct ZOVLock::Waiter {
  ZOVEvent event;
  Waiter* next = nullptr;
};

namespace {
// Gives pLockMutex back for a wait. A cancelled waiter unwinds with the mutex taken again.
class ZOV_SCOPED_CAPABILITY Unlocked {
 public:
  Unlocked() ZOV_RELEASE(*ZOVLock::pLockMutex) { ZOVLock::pLockMutex->release(); }
  ~Unlocked() ZOV_RELEASE() { ZOVLock::pLockMutex->get(); }
  Unlocked(const Unlocked&) = delete;
  Unlocked& operator=(const Unlocked&) = delete;
};

// Runs its action when the scope is left by cancellation, and not otherwise.
template <class Action>
class WhenCancelled {
 public:
  explicit WhenCancelled(Action action) : _action(action) {}
  ~WhenCancelled() {
    if (!_done) _action();
  }
  WhenCancelled(const WhenCancelled&) = delete;
  WhenCancelled& operator=(const WhenCancelled&) = delete;
  void done() { _done = true; }

 private:
  Action _action;
  bool _done = false;
};

ZOVThreadRecoveryEnvironmentElement* currentElement() {
  ZOVAgentEnvironment* environment = ZOVAgentEnvironment::pEnvironment.load();
  return environment != nullptr ? environment->getCurrentRecoveryElement() : nullptr;
}
}  // namespace

bool LockHolder::isEqual(const RWCollectable* other) const {
  const auto* holder = dynamic_cast<const LockHolder*>(other);
  return holder != nullptr && pthread_equal(_threadId, holder->_threadId) != 0;
}

void ZOVLock::Queue::append(Waiter& waiter) {
  waiter.next = nullptr;
  (last != nullptr ? last->next : first) = &waiter;
  last = &waiter;
}

bool ZOVLock::Queue::remove(Waiter& waiter) {
  Waiter* before = nullptr;
  for (Waiter* at = first; at != nullptr; before = at, at = at->next) {
    if (at != &waiter) continue;
    (before != nullptr ? before->next : first) = waiter.next;
    if (last == &waiter) last = before;
    return true;
  }
  return false;
}

ZOVLock::Waiter* ZOVLock::Queue::takeFirst() {
  Waiter* taken = first;
  if (taken == nullptr) return nullptr;
  first = taken->next;
  if (first == nullptr) last = nullptr;
  return taken;
}

int ZOVLock::Queue::entries() const {
  int count = 0;
  for (const Waiter* at = first; at != nullptr; at = at->next) ++count;
  return count;
}

void ZOVLock::init() {
  static const bool made = (pLockMutex = new ZOVMutex) != nullptr;
  static_cast<void>(made);
}

ZOVLock::ZOVLock(const char* name) : _name(name != nullptr ? name : "Unknown") {
  init();
  _sharedHolders.reserve(4);
}

ZOVLock::~ZOVLock() {
  const zov::RecursiveLock lock(*pLockMutex);
  if (ZOVThread* thread = ZOVAgentEnvironment::getActiveThread()) {
    thread->lockFreed(*this, Exclusive);
    thread->lockFreed(*this, Shared);
  }
  while (!_sharedHolders.empty()) dropHolder(_sharedHolders.back());
  ZOVAgentEnvironment* environment = ZOVAgentEnvironment::pEnvironment.load();
  if (_averted && environment != nullptr) environment->threadTable().forgetLock(*this);
}

ZOVThread* ZOVLock::getCurrentThread() const {
  return ZOVAgentEnvironment::getActiveThread();
}

ZOVLock::Caller ZOVLock::identify() const {
  ZOVThread* thread = getCurrentThread();
  const void* token = thread != nullptr ? thread->getLockToken(*this) : nullptr;
  return {pthread_self(), thread, static_cast<LockHolder*>(const_cast<void*>(token))};
}

int ZOVLock::get(_LockRequestType type, _WaitRequestType wait) {
  ZOV_TRACE(Minor);
  if (!_enabled) return 1;
  const int count = _exclusiveCount.load(std::memory_order_relaxed);
  if (count != 0 && _owner.load(std::memory_order_relaxed) == pthread_self()) {
    _exclusiveCount.store(count + 1, std::memory_order_relaxed);
    return 0;
  }
  Caller caller = identify();
  if (type == Shared && caller.token != nullptr) {
    ++caller.token->_count;
    return 0;
  }
  Grant grant;
  {
    const zov::RecursiveLock lock(*pLockMutex);
    grant = acquire(caller, type, wait);
  }
  if (grant == Grant::Acquired) return 0;
  if (grant == Grant::Deadlock) zovRaise(ZOVException::recoverable(ZOV_DEADLOCK_AVERTED));
  if (grant == Grant::TooManyLocks) zovRaise(ZOVException(ZOV_TOO_MANY_LOCKS));
  return 4;
}

ZOVLock::Grant ZOVLock::acquire(Caller& caller, _LockRequestType type, _WaitRequestType wait) {
  if (type == Shared) {
    if (LockHolder* holder = findHolder(caller.id)) {  // taken while the thread was not known
      ++holder->_count;
      return Grant::Acquired;
    }
  }
  std::optional<Waiter> waiter;
  for (;;) {
    const Grant grant = tryGrant(caller, type, wait);
    if (grant != Grant::MustWait) return grant;
    if (!waiter) waiter.emplace();
    if (mustConvert(caller, type)) {
      waitToConvert(caller, *waiter);
    } else {
      waitInQueue(caller, *waiter);
    }
  }
}

bool ZOVLock::mustConvert(const Caller& caller, _LockRequestType type) const {
  return type == Exclusive && caller.token != nullptr && !_sharedHolders.empty();
}

ZOVLock::Grant ZOVLock::tryGrant(Caller& caller, _LockRequestType type, _WaitRequestType wait) {
  if (mustConvert(caller, type)) {
    // The one holder is the caller, whose shared hold stays beneath the exclusive one.
    if (_sharedHolders.size() > 1) return mustWait(caller, type, wait);
    return grantExclusive(caller, "Thread %X convert shared to exclusive access for lock %s at %X");
  }
  if (_exclusiveCount != 0 || (type == Exclusive && !_sharedHolders.empty())) {
    return mustWait(caller, type, wait);
  }
  if (type == Shared) return grantShared(caller);
  return grantExclusive(caller, "Thread %X acquiring exclusive lock %s at %X");
}

ZOVLock::Grant ZOVLock::grantExclusive(const Caller& caller, const char* traceFormat) {
  if (caller.thread != nullptr && !caller.thread->canHoldAnotherLock(Exclusive)) return Grant::TooManyLocks;
  _owner.store(caller.id, std::memory_order_relaxed);
  _exclusiveCount.store(1, std::memory_order_relaxed);
  if (caller.thread != nullptr) caller.thread->lockAcquired(*this, Exclusive, nullptr);
  trace(traceFormat);
  return Grant::Acquired;
}

ZOVLock::Grant ZOVLock::grantShared(Caller& caller) {
  if (caller.thread != nullptr && !caller.thread->canHoldAnotherLock(Shared)) return Grant::TooManyLocks;
  _sharedHolders.reserve(_sharedHolders.size() + 1);
  LockHolder* holder = spareHolders;
  if (holder != nullptr) {
    spareHolders = holder->_nextSpare;
    holder->_threadId = caller.id;
    holder->_count = 1;
  } else {
    holder = ::new LockHolder(caller.id);  // never through a storage that raises: the mutex is held
  }
  _sharedHolders.push_back(holder);
  if (caller.thread != nullptr) caller.thread->lockAcquired(*this, Shared, holder);
  trace("Thread %X acquiring shared lock %s at %X");
  return Grant::Acquired;
}

ZOVLock::Grant ZOVLock::mustWait(const Caller& caller, _LockRequestType type, _WaitRequestType wait) {
  if (wait == DoNotWait) return Grant::NotAcquired;
  if (caller.thread == nullptr) return Grant::MustWait;
  if (!caller.thread->waitForUnavailableLock(*this, type)) return Grant::NotAcquired;
  if (!testDeadlockCondition()) return Grant::MustWait;
  // Where no recovery frame stands there is no raise, and the thread goes on into its wait.
  if (currentElement() == nullptr) return Grant::MustWait;
  _averted = true;
  return Grant::Deadlock;
}

void ZOVLock::waitInQueue(const Caller&, Waiter& waiter) {
  trace("Thread %X waiting for lock %s at %X");
  _waiters.append(waiter);
  // What is not in the queue any more has been posted: the post goes on to the next.
  WhenCancelled leave([&]() ZOV_REQUIRES(*pLockMutex) {
    if (!_waiters.remove(waiter) && _exclusiveCount == 0) wakeWaiters(true);
  });
  {
    Unlocked unlocked;
    this->wait(waiter.event);
  }
  leave.done();
  trace("Thread %X posted for lock %s at %X");
}

void ZOVLock::waitToConvert(const Caller& caller, Waiter& waiter) {
  trace("Thread %X must wait to convert shared to exclusive access for lock %s at %X");
  // Without its holder two converters cannot block each other.
  std::erase(_sharedHolders, caller.token);
  WhenCancelled leave([&]() ZOV_REQUIRES(*pLockMutex) {
    if (!_upgraders.remove(waiter) && _exclusiveCount == 0) wakeWaiters(true);
    dropHolder(caller.token);
    caller.thread->lockFreed(*this, Shared);
  });
  do {
    _upgraders.append(waiter);
    Unlocked unlocked;
    this->wait(waiter.event);
  } while (_exclusiveCount != 0);
  _sharedHolders.push_back(caller.token);
  leave.done();
}

void ZOVLock::wait(ZOVEvent& event) const {
  if (!traceUnit.on(DGT1_ERROR | DGT1_DETAIL)) {
    event.wait();
    return;
  }
  const long seconds = zovWaits().lockWarningSeconds;
  if (event.waitWithTimeout(seconds)) return;
  DGT1_Printf(traceUnit, DGT1_ERROR | DGT1_DETAIL,
              "Thread %X has been waiting for lock %s at %X for %i seconds", pthread_self(), _name,
              reinterpret_cast<std::uintptr_t>(this), seconds);
  if (traceUnit.on(DGT1_ERROR)) diagDump();
  event.wait();
}

void ZOVLock::trace(const char* format) const {
  DGT1_Printf(traceUnit, DGT1_DETAIL, format, pthread_self(), _name, reinterpret_cast<std::uintptr_t>(this));
}

void ZOVLock::release(_LockRequestType type) {
  ZOV_TRACE(Minor);
  const int count = _exclusiveCount.load(std::memory_order_relaxed);
  if (count > 1 && type != All && _owner.load(std::memory_order_relaxed) == pthread_self()) {
    _exclusiveCount.store(count - 1, std::memory_order_relaxed);
    return;
  }
  if (type == Shared && count == 0) {
    const Caller caller = identify();
    if (caller.token != nullptr && caller.token->_count > 1) {
      --caller.token->_count;
      return;
    }
  }
  const zov::RecursiveLock lock(*pLockMutex);
  bool gaveUpExclusive = false;
  if (_exclusiveCount == 0) {
    releaseShared(type);
  } else if (_owner == pthread_self()) {
    gaveUpExclusive = releaseExclusive(type);
  }
  if (_exclusiveCount == 0) wakeWaiters(gaveUpExclusive);
}

bool ZOVLock::releaseExclusive(_LockRequestType type) {
  const int count = type == All ? 0 : _exclusiveCount - 1;
  _exclusiveCount = count;
  if (count > 0) return true;
  _owner = 0;
  if (ZOVThread* thread = getCurrentThread()) thread->lockFreed(*this, Exclusive);
  trace("Thread %X releasing exclusive lock %s at %X");
  return true;
}

void ZOVLock::releaseShared(_LockRequestType type) {
  const Caller caller = identify();
  LockHolder* holder = caller.token != nullptr ? caller.token : findHolder(caller.id);
  if (holder == nullptr) return;
  if (type != All && --holder->_count > 0) return;
  dropHolder(holder);
  if (caller.thread != nullptr) caller.thread->lockFreed(*this, Shared);
  trace("Thread %X releasing shared lock %s at %X");
}

void ZOVLock::wakeWaiters(bool gaveUpExclusive) {
  if (Waiter* upgrader = _upgraders.takeFirst()) {
    upgrader->event.post();
    return;
  }
  while (Waiter* waiter = _waiters.takeFirst()) {
    waiter->event.post();
    if (!gaveUpExclusive) return;
  }
}

LockHolder* ZOVLock::findHolder(pthread_t id) const {
  for (LockHolder* holder : _sharedHolders) {
    if (pthread_equal(holder->_threadId, id)) return holder;
  }
  return nullptr;
}

void ZOVLock::dropHolder(LockHolder* holder) {
  std::erase(_sharedHolders, holder);
  holder->_nextSpare = spareHolders;
  spareHolders = holder;
}

int ZOVLock::testDeadlockCondition() {
  const ZOVThread* caller = getCurrentThread();
  if (caller == nullptr) return 0;
  std::vector<const ZOVLock*> held;
  caller->callForEachLockHeld(
      [](const ZOVLock* lock, const ZOVThread*, void* list) {
        static_cast<std::vector<const ZOVLock*>*>(list)->push_back(lock);
      },
      &held);
  if (held.empty()) return 0;

  std::vector<const ZOVLock*> locks{this};
  std::vector<ZOVThread*> threads;
  for (;;) {
    const std::size_t known = threads.size();
    for (const ZOVLock* lock : locks) lock->addThreadsThatWait(caller, threads);
    if (threads.size() == known) return 0;
    locks.clear();
    for (std::size_t i = known; i < threads.size(); ++i) {
      const ZOVLock* wanted = threads[i]->getLockWaitedFor();
      if (wanted == nullptr) continue;
      if (std::find(held.begin(), held.end(), wanted) != held.end()) {
        deadlockFound(caller, threads[i], wanted);
        return 1;
      }
      locks.push_back(wanted);
    }
  }
}

void ZOVLock::addThreadsThatWait(const ZOVThread* caller, std::vector<ZOVThread*>& threads) const {
  const ZOVAgentEnvironment* environment = ZOVAgentEnvironment::pEnvironment.load();
  if (environment == nullptr) return;
  const auto add = [&](pthread_t id) {
    ZOVThread* thread = environment->findThread(&id);
    // A holder that does not wait itself can be no part of a cycle.
    if (thread == nullptr || thread == caller || thread->getState() != ZOVThread::WaitingForLock) return;
    if (std::find(threads.begin(), threads.end(), thread) == threads.end()) threads.push_back(thread);
  };
  if (_exclusiveCount != 0) {
    add(_owner);
    return;
  }
  for (const LockHolder* holder : _sharedHolders) add(holder->_threadId);
}

void ZOVLock::deadlockFound(const ZOVThread* first, const ZOVThread* second, const ZOVLock* lock) {
  const std::string firstId = DGT1_FormatText("%i", first->getThreadId());
  const std::string secondId = DGT1_FormatText("%i", second->getThreadId());
  DGT1_Printf(traceUnit, DGT1_ERROR,
              "Deadlock condition detected between thread %s and thread %s  Lock 1 = %x  Lock 2 = %x",
              firstId.c_str(), secondId.c_str(), reinterpret_cast<std::uintptr_t>(lock),
              reinterpret_cast<std::uintptr_t>(this));
  if (const ZOVAgentEnvironment* environment = ZOVAgentEnvironment::pEnvironment.load()) {
    environment->diagDump();
  }
}

void ZOVLock::diagDump() const {
  dumpUnder(*pLockMutex, [this]() ZOV_REQUIRES(*pLockMutex) { dump(); });
}

void ZOVLock::dump() const {
  DGT1_Printf(traceUnit, DGT1_ERROR, "      ZOVLock at %p  Lock name = %s", this, _name);
  const bool available = _exclusiveCount == 0 && _sharedHolders.empty();
  if (available) {
    DGT1_Printf(traceUnit, DGT1_ERROR, "      Lock is available");
    return;
  }
  if (_exclusiveCount != 0) {
    DGT1_Printf(traceUnit, DGT1_ERROR, "      Lock is held exclusively by threadid %i", _owner.load());
  } else {
    for (const LockHolder* holder : _sharedHolders) {
      DGT1_Printf(traceUnit, DGT1_ERROR, "      Lock is held shared by threadid %i", holder->_threadId);
    }
  }
  if (const int waiting = _waiters.entries() + _upgraders.entries()) {
    DGT1_Printf(traceUnit, DGT1_ERROR, "      %i threads are waiting for this lock", waiting);
  }
}
