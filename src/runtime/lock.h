#pragma once
// ZOVLock: a named shared/exclusive lock, recursive in both modes, with conversion of a shared hold to
// exclusive, with a record per thread of what it holds (runtime/held_locks.h), and with a deadlock check that
// runs before each wait and turns a deadlock into a recoverable exception (code 6) in the thread that would
// have closed the cycle.
//
// The state of a lock is one atomic word: held exclusively, somebody is queued, how many hold it shared.
// While nobody is queued, a lock is taken and given back by one swap of the word, with no mutex; the word is
// the last of the lock that a release touches. A thread enters a lock in its record behind the swap that
// takes it, and erases it ahead of the one that gives it back. Recursive acquisition and its release swap
// nothing.
//
// One mutex, pLockMutex, guards the queues of all locks and every wait: who must wait marks the word under
// it, and with the mark set a release goes through it too. So the check sees all threads that wait as they
// are, and what these hold. Under the mutex only leaves are taken: an event's mutex to post it, the thread
// table's, those of trace and dumps. A wait gives it back, so nobody calls get() with it held; a raise is
// made after it has been given back, and a fault under it is made good by the frame that the fault reaches. A
// grant that need not wait allocates nothing; the deadlock check ahead of a wait does. Locks have no
// fairness: a reader is let in as soon as nobody holds the lock exclusively.
//
// To clang's analysis a lock is a capability that zov::ExclusiveLock, zov::SharedLock and the bodies given to
// holding() have:
//
//   int _count ZOV_GUARDED_BY(_lock) = 0;
//   void add() { zov::ExclusiveLock lock(_lock); ++_count; }
//   void call() { holding(_lock, Exclusive, [&]() ZOV_REQUIRES(_lock) { ++_count; f(); }); }
//   int read() { return holding(_lock, Shared, [&]() ZOV_REQUIRES_SHARED(_lock) -> int { return _count; }); }
//
// It knows neither recursion nor conversion, and looks at one function at a time: a function that may be
// entered with the lock held takes it again and says nothing; one that must be entered so says ZOV_REQUIRES.
//
// Errors: get answers 0 acquired, 1 locking disabled, 4 not acquired; it raises code 6 (deadlock averted) and
// code 4 (the thread holds 50 locks of the mode already; it does not wait then, acquires nothing, and gets
// the answer 4 where no recovery frame stands).

#include <pthread.h>

#include <atomic>
#include <cstdint>

#include "runtime/collectable.h"
#include "runtime/event.h"
#include "runtime/mutex.h"

class ZOVThread;

enum _LockRequestType { Shared = 0, Exclusive = 1, All = 2 };  ///< All: release only, every level at once
enum _WaitRequestType { Wait = 0, DoNotWait = 1 };

class ZOV_CAPABILITY("lock") ZOVLock : public ZOVCollectable {
 public:
  /// `name` is for dumps and kept by pointer; null reads "Unknown".
  explicit ZOVLock(const char* name = nullptr);
  /// Takes the lock off the records of all threads. No other thread may use it then or wait for it.
  ~ZOVLock() override;
  ZOVLock(const ZOVLock&) = delete;
  ZOVLock& operator=(const ZOVLock&) = delete;
  RWClassID isA() const override { return 32704; }
  bool isEqual(const RWCollectable* other) const override { return this == other; }

  /// Creates pLockMutex when it does not exist.
  static void init();
  static ZOVMutex* pLockMutex;  ///< never destroyed

  int get(_LockRequestType type, _WaitRequestType wait);
  /// Gives up one level, or all of them. A lock that the caller does not hold is no error. Touches nothing of
  /// the lock once it is free.
  void release(_LockRequestType type);
  const char* getName() const { return _name; }
  static int getErrorCode() { return pLockMutex ? pLockMutex->getErrorCode() : -1; }

  virtual ZOVThread* getCurrentThread() const;  ///< null when the calling thread is not known
  /// Non-zero when a wait of the calling thread for this lock would close a cycle.
  virtual int testDeadlockCondition() ZOV_REQUIRES(*pLockMutex);
  virtual void deadlockFound(const ZOVThread* first, const ZOVThread* second, const ZOVLock* lock);
  virtual void diagDump() const;
  virtual int getLockLevel() const { return 0; }

 private:
  struct Request;  // one call of get that takes the long way
  struct Waiter;
  struct Queue {  // first in, first out, over waiters on their threads' stacks
    Waiter* first = nullptr;
    Waiter* last = nullptr;
    void append(Waiter& waiter);
    bool remove(Waiter& waiter);
    Waiter* takeFirst();
    int entries() const;
  };
  enum class Grant { Acquired, NotAcquired, TooManyLocks, Deadlock, MustWait };
  using State = std::uint32_t;
  static constexpr State Held = 1;    // exclusively
  static constexpr State Queued = 2;  // somebody is, or was; set and cleared under pLockMutex
  static constexpr State Reader = 4;  // one thread that holds it shared; above, their number
  static bool blocks(State state, _LockRequestType type, State own);

  bool acquireAtOnce(_LockRequestType type);
  Grant acquireOrWait(_LockRequestType type, _WaitRequestType wait);
  // Of these only the two waits give pLockMutex back, and take it again.
  Grant acquire(Request& request) ZOV_REQUIRES(*pLockMutex);
  Grant tryGrant(const Request& request) ZOV_REQUIRES(*pLockMutex);
  Grant mayWait(Request& request) ZOV_REQUIRES(*pLockMutex);
  void waitInQueue(Request& request, Waiter& waiter) ZOV_REQUIRES(*pLockMutex);
  void waitToConvert(Request& request, Waiter& waiter) ZOV_REQUIRES(*pLockMutex);
  bool takeBackShared() ZOV_REQUIRES(*pLockMutex);
  void wait(Request& request, Waiter& waiter) ZOV_REQUIRES(*pLockMutex);
  void giveUp(State given) ZOV_REQUIRES(*pLockMutex);
  void passOn() ZOV_REQUIRES(*pLockMutex);

  void releaseExclusive(_LockRequestType type);
  void waitFor(ZOVEvent& event) const;
  void trace(const char* format) const;
  void dump() const ZOV_REQUIRES(*pLockMutex);

  std::atomic<State> _state{0};
  std::atomic<int> _exclusiveCount{0};  // touched by the owner alone
  std::atomic<pthread_t> _owner{0};     // only the owner can see its own id here
  Queue _waiters ZOV_GUARDED_BY(*pLockMutex);
  Queue _upgraders ZOV_GUARDED_BY(*pLockMutex);
  /// A thread may still name this lock as the one that it waits for.
  bool _averted ZOV_GUARDED_BY(*pLockMutex) = false;

  const char* _name;
  bool _enabled = true;
};

namespace zov {

/// Holds a ZOVLock exclusively for a scope that cannot raise; where the scope may raise, holding() of
/// recovery.h does it. A lock that get does not give (its answers 1 and 4) is not given back either.
class ZOV_SCOPED_CAPABILITY ExclusiveLock {
 public:
  explicit ExclusiveLock(ZOVLock& lock) ZOV_ACQUIRE(lock)
      : _lock(lock), _held(_lock.get(Exclusive, Wait) == 0) {}
  ~ExclusiveLock() ZOV_RELEASE() {
    if (_held) _lock.release(Exclusive);
  }
  ExclusiveLock(const ExclusiveLock&) = delete;
  ExclusiveLock& operator=(const ExclusiveLock&) = delete;

 private:
  ZOVLock& _lock;
  bool _held;
};

/// The same, shared: the scope may read what the lock guards, and not change it.
class ZOV_SCOPED_CAPABILITY SharedLock {
 public:
  explicit SharedLock(ZOVLock& lock) ZOV_ACQUIRE_SHARED(lock)
      : _lock(lock), _held(_lock.get(Shared, Wait) == 0) {}
  ~SharedLock() ZOV_RELEASE_GENERIC() {
    if (_held) _lock.release(Shared);
  }
  SharedLock(const SharedLock&) = delete;
  SharedLock& operator=(const SharedLock&) = delete;

 private:
  ZOVLock& _lock;
  bool _held;
};

}  // namespace zov
