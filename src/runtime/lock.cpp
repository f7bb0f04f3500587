#include "runtime/lock.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

#include "platform/own_metrics.h"
#include "runtime/environment.h"
#include "runtime/held_locks.h"
#include "runtime/recoverable_thread.h"
#include "runtime/recovery.h"
#include "runtime/thread.h"
#include "runtime/trace_scope.h"
#include "runtime/waits.h"

static DGT1_Unit traceUnit("ZOVCLOCK");

static zov::OwnTimes lockWaits("zov_agent_lock_wait_seconds", "Waits of threads for locks, and their time.");

ZOVMutex* ZOVLock::pLockMutex = nullptr;

struct ZOVLock::Request {
  _LockRequestType type;
  _WaitRequestType wait;
  ZOVThread* thread;                     // null for a thread that the process does not know
  HeldLockPlaceholderTable::Pair* held;  // its shared hold, when it asks to convert it
  zov::TraceHold lines;                  // of a deadlock, kept back while pLockMutex is held
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
}

ZOVLock::~ZOVLock() {
  const zov::RecursiveLock lock(*pLockMutex);
  if ((_state.load() & ~Queued) == 0 && !_averted) return;
  ZOVHeldLocks::forEach([this](ZOVHeldLocks& record) ZOV_REQUIRES(*pLockMutex) {
    record.exclusive.forget(this);
    record.shared.forget(this);
    if (record.thread != nullptr) record.thread->forgetLock(*this);
  });
}

ZOVThread* ZOVLock::getCurrentThread() const {
  return ZOVAgentEnvironment::getActiveThread();
}

int ZOVLock::get(_LockRequestType type, _WaitRequestType wait) {
  ZOV_TRACE(Minor);
  if (!_enabled) return 1;
  if (_owner.load(std::memory_order_relaxed) == zovOwnHeldLocks.id) {
    _exclusiveCount.store(_exclusiveCount.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    return 0;
  }
  if (type == Shared) {
    if (auto* held = zovOwnHeldLocks.shared.find(this)) {
      ++held->depth;
      return 0;
    }
  }
  if (acquireAtOnce(type)) return 0;
  const Grant grant = acquireOrWait(type, wait);
  if (grant == Grant::Acquired) return 0;
  if (grant == Grant::Deadlock) zovRaise(ZOVException::recoverable(ZOV_DEADLOCK_AVERTED));
  if (grant == Grant::TooManyLocks) zovRaise(ZOVException(ZOV_TOO_MANY_LOCKS));
  return 4;
}

inline bool ZOVLock::acquireAtOnce(_LockRequestType type) {
  ZOVHeldLocks& own = zovOwnHeldLocks;
  if (own.needsAttention || own.table(type).isFull()) return false;
  State now = 0;
  if (type == Exclusive) {
    if (!_state.compare_exchange_strong(now, Held, std::memory_order_acquire, std::memory_order_relaxed)) {
      return false;
    }
    _owner.store(own.id, std::memory_order_relaxed);
    _exclusiveCount.store(1, std::memory_order_relaxed);
    own.exclusive.add(this);
    trace("Thread %X acquiring exclusive lock %s at %X");
    return true;
  }
  while (!_state.compare_exchange_weak(now, now + Reader, std::memory_order_acquire,
                                       std::memory_order_relaxed)) {
    if (blocks(now, Shared, 0)) return false;
  }
  own.shared.add(this);
  trace("Thread %X acquiring shared lock %s at %X");
  return true;
}

/// Whether a request cannot be granted in a state to which `own` is the asking thread's part.
bool ZOVLock::blocks(State state, _LockRequestType type, State own) {
  return type == Shared ? (state & Held) != 0 : (state & ~Queued) != own;
}

ZOVLock::Grant ZOVLock::acquireOrWait(_LockRequestType type, _WaitRequestType wait) {
  Request request{type, wait, getCurrentThread(), nullptr, {}};
  if (type == Exclusive && request.thread != nullptr) request.held = zovOwnHeldLocks.shared.find(this);
  const zov::RecursiveLock lock(*pLockMutex);
  zovOwnHeldLocks.list();
  return acquire(request);
}

ZOVLock::Grant ZOVLock::acquire(Request& request) {
  std::optional<Waiter> waiter;
  for (;;) {
    Grant grant = tryGrant(request);
    if (grant == Grant::MustWait) grant = mayWait(request);
    if (grant != Grant::MustWait) return grant;
    if (!waiter) waiter.emplace();
    if (request.held != nullptr) {
      waitToConvert(request, *waiter);
    } else {
      waitInQueue(request, *waiter);
    }
  }
}

ZOVLock::Grant ZOVLock::tryGrant(const Request& request) {
  ZOVHeldLocks& own = zovOwnHeldLocks;
  const State mine = request.held != nullptr ? Reader : 0;
  const State added = request.type == Exclusive ? Held : Reader;
  State now = _state.load(std::memory_order_relaxed);
  do {
    if (blocks(now, request.type, mine)) return Grant::MustWait;
    if (own.table(request.type).isFull()) return Grant::TooManyLocks;
  } while (
      !_state.compare_exchange_weak(now, now + added, std::memory_order_acquire, std::memory_order_relaxed));
  if (request.type == Exclusive) {
    _owner.store(own.id, std::memory_order_relaxed);
    _exclusiveCount.store(1, std::memory_order_relaxed);
  }
  own.table(request.type).add(this);
  own.needsAttention = false;
  if (request.thread != nullptr) request.thread->lockAcquired();
  trace(request.type != Exclusive ? "Thread %X acquiring shared lock %s at %X"
        : request.held != nullptr ? "Thread %X convert shared to exclusive access for lock %s at %X"
                                  : "Thread %X acquiring exclusive lock %s at %X");
  return Grant::Acquired;
}

/// What must be known before a wait, since what is found behind it would cost others their wake-up.
ZOVLock::Grant ZOVLock::mayWait(Request& request) {
  if (request.wait == DoNotWait) return Grant::NotAcquired;
  if (zovOwnHeldLocks.table(request.type).isFull()) return Grant::TooManyLocks;
  if (request.thread == nullptr) return Grant::MustWait;
  zovOwnHeldLocks.needsAttention = true;
  if (!request.thread->waitForUnavailableLock(*this, request.type)) return Grant::NotAcquired;
  request.lines.begin();
  const bool deadlock = testDeadlockCondition() != 0;
  request.lines.pause();
  // Where no recovery frame stands there is no raise, and the thread goes on into its wait.
  if (!deadlock || currentElement() == nullptr) return Grant::MustWait;
  _averted = true;
  return Grant::Deadlock;
}

void ZOVLock::waitInQueue(Request& request, Waiter& waiter) {
  // The mark is made while the lock is not to be had: whoever gives it up from here on sees it.
  State now = _state.load(std::memory_order_relaxed);
  do {
    if (!blocks(now, request.type, 0)) return;
  } while (!_state.compare_exchange_weak(now, now | Queued, std::memory_order_relaxed));
  trace("Thread %X waiting for lock %s at %X");
  _waiters.append(waiter);
  // What is not in the queue any more has been posted: the post goes on to the next.
  WhenCancelled leave([&]() ZOV_REQUIRES(*pLockMutex) {
    if (!_waiters.remove(waiter)) passOn();
  });
  wait(request, waiter);
  leave.done();
  trace("Thread %X posted for lock %s at %X");
}

void ZOVLock::waitToConvert(Request& request, Waiter& waiter) {
  // Without its shared hold two converters cannot block each other.
  State now = _state.load(std::memory_order_relaxed);
  do {
    if (!blocks(now, Exclusive, Reader)) return;
  } while (!_state.compare_exchange_weak(now, (now - Reader) | Queued, std::memory_order_release,
                                         std::memory_order_relaxed));
  request.held->lent.store(true, std::memory_order_relaxed);
  trace("Thread %X must wait to convert shared to exclusive access for lock %s at %X");
  WhenCancelled leave([&]() ZOV_REQUIRES(*pLockMutex) {
    if (!_upgraders.remove(waiter)) passOn();
    request.held->lent.store(false, std::memory_order_relaxed);
    zovOwnHeldLocks.shared.remove(*request.held);
  });
  do {
    _upgraders.append(waiter);
    wait(request, waiter);
  } while (!takeBackShared());
  request.held->lent.store(false, std::memory_order_relaxed);
  leave.done();
}

/// False when somebody holds the lock exclusively, who sees then that somebody is queued.
bool ZOVLock::takeBackShared() {
  State now = _state.load(std::memory_order_relaxed);
  for (;;) {
    const bool held = (now & Held) != 0;
    if (_state.compare_exchange_weak(now, held ? now | Queued : now + Reader, std::memory_order_acquire,
                                     std::memory_order_relaxed)) {
      return !held;
    }
  }
}

void ZOVLock::wait(Request& request, Waiter& waiter) {
  const auto begin = ZOVClock::steady();
  Unlocked unlocked;
  request.lines.write();
  waitFor(waiter.event);
  lockWaits.add(begin);
}

void ZOVLock::waitFor(ZOVEvent& event) const {
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
  ZOVHeldLocks& own = zovOwnHeldLocks;
  if (_owner.load(std::memory_order_relaxed) == own.id) return releaseExclusive(type);
  auto* held = own.shared.find(this);
  if (held == nullptr) return;
  if (type != All && --held->depth > 0) return;
  own.shared.remove(*held);
  trace("Thread %X releasing shared lock %s at %X");
  State now = Reader;  // most often nobody else reads
  do {
    if (_state.compare_exchange_weak(now, now - Reader, std::memory_order_release,
                                     std::memory_order_relaxed)) {
      return;
    }
  } while ((now & Queued) == 0);
  const zov::RecursiveLock lock(*pLockMutex);
  giveUp(Reader);
}

inline void ZOVLock::releaseExclusive(_LockRequestType type) {
  const int count = _exclusiveCount.load(std::memory_order_relaxed);
  if (count > 1 && type != All) {
    _exclusiveCount.store(count - 1, std::memory_order_relaxed);
    return;
  }
  ZOVHeldLocks& own = zovOwnHeldLocks;
  if (auto* held = own.exclusive.find(this)) own.exclusive.remove(*held);
  trace("Thread %X releasing exclusive lock %s at %X");
  _owner.store(0, std::memory_order_relaxed);
  State now = Held;
  do {
    if (_state.compare_exchange_weak(now, now - Held, std::memory_order_release, std::memory_order_relaxed)) {
      return;
    }
  } while ((now & Queued) == 0);
  const zov::RecursiveLock lock(*pLockMutex);
  giveUp(Held);
}

/// Gives up what is given, and wakes: one that wants to convert; else, behind an exclusive hold, all that are
/// queued, and behind a shared one the first. The swap is the last of the lock that is touched.
void ZOVLock::giveUp(State given) {
  Waiter* woken = _upgraders.takeFirst();
  if (woken == nullptr && given == Reader) woken = _waiters.takeFirst();
  if (woken != nullptr) {
    woken->next = nullptr;
  } else {
    woken = std::exchange(_waiters, {}).first;
  }
  const State gone = _waiters.first == nullptr && _upgraders.first == nullptr ? Queued : 0;
  State now = _state.load(std::memory_order_relaxed);
  while (!_state.compare_exchange_weak(now, (now - given) & ~gone, std::memory_order_release,
                                       std::memory_order_relaxed)) {
  }
  while (woken != nullptr) std::exchange(woken, woken->next)->event.post();
}

/// Of a waiter that was posted and has been cancelled.
void ZOVLock::passOn() {
  if ((_state.load(std::memory_order_relaxed) & Held) == 0) giveUp(0);
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

  // What a waiting thread holds does not change while it waits. One that does not wait is part of no cycle.
  std::vector<ZOVHeldLocks*> waiting;
  ZOVHeldLocks::forEach([&](ZOVHeldLocks& record) ZOV_REQUIRES(*pLockMutex) {
    const ZOVThread* thread = record.thread;
    if (thread == nullptr || thread == caller || thread->getState() != ZOVThread::WaitingForLock) return;
    if (thread->getLockWaitedFor() != nullptr) waiting.push_back(&record);
  });
  std::vector<const ZOVLock*> locks{this}, wantedNext;
  for (; !locks.empty(); locks.swap(wantedNext), wantedNext.clear()) {
    for (ZOVHeldLocks*& record : waiting) {
      if (record == nullptr) continue;
      if (!record->exclusive.holdsOneOf(locks) && !record->shared.holdsOneOf(locks)) continue;
      const ZOVThread& thread = *std::exchange(record, nullptr)->thread;
      const ZOVLock* wanted = thread.getLockWaitedFor();
      if (std::find(held.begin(), held.end(), wanted) != held.end()) {
        deadlockFound(caller, &thread, wanted);
        return 1;
      }
      if (std::find(wantedNext.begin(), wantedNext.end(), wanted) == wantedNext.end()) {
        wantedNext.push_back(wanted);
      }
    }
  }
  return 0;
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
  const State now = _state.load(std::memory_order_relaxed);
  if ((now & ~Queued) == 0) {
    DGT1_Printf(traceUnit, DGT1_ERROR, "      Lock is available");
    return;
  }
  if ((now & Held) != 0) {
    DGT1_Printf(traceUnit, DGT1_ERROR, "      Lock is held exclusively by threadid %i", _owner.load());
  } else {
    ZOVHeldLocks::forEach([this](const ZOVHeldLocks& record) {
      if (!record.shared.isLockOwned(this)) return;
      DGT1_Printf(traceUnit, DGT1_ERROR, "      Lock is held shared by threadid %i", record.id);
    });
  }
  if (const int queued = _waiters.entries() + _upgraders.entries()) {
    DGT1_Printf(traceUnit, DGT1_ERROR, "      %i threads are waiting for this lock", queued);
  }
}
