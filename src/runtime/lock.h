#pragma once
// ZOVLock: a named shared/exclusive lock, recursive in both modes, with conversion of a shared hold to
// exclusive, with a record per thread of what it holds, and with a deadlock check that runs before each wait
// and turns a deadlock into a recoverable exception (code 6) in the thread that would have closed the cycle.
//
// One mutex, pLockMutex, guards the state of all locks of the process, since the check needs all of them
// stable at once. Under it only leaves are taken: an event's mutex to post it, the thread table's, those of
// trace and dumps. A wait gives it back, so nobody calls get() with it held; a raise is made after it has
// been given back, and a fault under it is made good by the frame that the fault reaches. Recursive
// acquisition and its release take no mutex. A grant that need not wait allocates nothing once the lock has
// warmed up; the deadlock check ahead of a wait does. Locks have no fairness: a reader is let in as soon as
// nobody holds the lock exclusively.
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
// code 4 (the thread holds too many locks already; nothing is acquired then, and without a recovery frame the
// answer is 4).

#include <pthread.h>

#include <atomic>
#include <vector>

#include "runtime/collectable.h"
#include "runtime/event.h"
#include "runtime/mutex.h"

class ZOVThread;

enum _LockRequestType { Shared = 0, Exclusive = 1, All = 2 };  ///< All: release only, every level at once
enum _WaitRequestType { Wait = 0, DoNotWait = 1 };

/// One thread's shared hold on one lock.
class LockHolder : public ZOVCollectable {
 public:
  explicit LockHolder(pthread_t id) : _threadId(id) {}
  RWClassID isA() const override { return 32703; }
  bool isEqual(const RWCollectable* other) const override;

  pthread_t getThreadId() const { return _threadId; }
  int _count = 1;  ///< nesting; touched by the holder alone

 private:
  friend class ZOVLock;
  pthread_t _threadId;
  LockHolder* _nextSpare = nullptr;  // guarded by pLockMutex
};

class ZOV_CAPABILITY("lock") ZOVLock : public ZOVCollectable {
 public:
  /// `name` is for dumps and kept by pointer; null reads "Unknown".
  explicit ZOVLock(const char* name = nullptr);
  /// Takes the lock off the calling thread's records. No other thread may hold it or wait for it.
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
  struct Caller;  // the calling thread, as one call of get or release sees it
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

  // Of these only the two waits give pLockMutex back, and take it again.
  Grant acquire(Caller& caller, _LockRequestType type, _WaitRequestType wait) ZOV_REQUIRES(*pLockMutex);
  Grant tryGrant(Caller& caller, _LockRequestType type, _WaitRequestType wait) ZOV_REQUIRES(*pLockMutex);
  Grant mustWait(const Caller& caller, _LockRequestType type, _WaitRequestType wait)
      ZOV_REQUIRES(*pLockMutex);
  bool mustConvert(const Caller& caller, _LockRequestType type) const ZOV_REQUIRES(*pLockMutex);
  Grant grantExclusive(const Caller& caller, const char* traceFormat) ZOV_REQUIRES(*pLockMutex);
  Grant grantShared(Caller& caller) ZOV_REQUIRES(*pLockMutex);
  void waitInQueue(const Caller& caller, Waiter& waiter) ZOV_REQUIRES(*pLockMutex);
  void waitToConvert(const Caller& caller, Waiter& waiter) ZOV_REQUIRES(*pLockMutex);
  bool releaseExclusive(_LockRequestType type) ZOV_REQUIRES(*pLockMutex);
  void releaseShared(_LockRequestType type) ZOV_REQUIRES(*pLockMutex);
  void wakeWaiters(bool gaveUpExclusive) ZOV_REQUIRES(*pLockMutex);
  LockHolder* findHolder(pthread_t id) const ZOV_REQUIRES(*pLockMutex);
  void dropHolder(LockHolder* holder) ZOV_REQUIRES(*pLockMutex);
  void addThreadsThatWait(const ZOVThread* caller, std::vector<ZOVThread*>& threads) const
      ZOV_REQUIRES(*pLockMutex);

  Caller identify() const;
  void wait(ZOVEvent& event) const;
  void trace(const char* format) const;
  void dump() const ZOV_REQUIRES(*pLockMutex);

  // Written under pLockMutex; read by the owner without it.
  std::atomic<int> _exclusiveCount{0};
  std::atomic<pthread_t> _owner{0};
  Queue _waiters ZOV_GUARDED_BY(*pLockMutex);
  std::vector<LockHolder*> _sharedHolders ZOV_GUARDED_BY(*pLockMutex);
  Queue _upgraders ZOV_GUARDED_BY(*pLockMutex);
  /// A thread may still name this lock as the one that it waits for.
  bool _averted ZOV_GUARDED_BY(*pLockMutex) = false;
  static LockHolder* spareHolders ZOV_GUARDED_BY(*pLockMutex);

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
