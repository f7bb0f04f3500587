#pragma once
// ZOVLock: a named shared/exclusive lock, recursive in both modes, with conversion of a shared hold to
// exclusive, with a record per thread of what it holds, and with a deadlock check that runs before each wait
// and turns a deadlock into a recoverable exception (code 6) in the thread that would have closed the cycle.
//
// One mutex, pLockMutex, guards the state of all locks of the process, since the check needs all of them
// stable at once. It is the innermost of all and never held across a wait. Recursive acquisition and its
// release take no mutex. Locks have no fairness: a reader is let in as soon as nobody holds the lock
// exclusively.
//
// Errors: get answers 0 acquired, 1 locking disabled, 4 not acquired; it raises code 6 (deadlock averted) and
// code 4 (the thread holds too many locks already; nothing is acquired then).

#include <pthread.h>

#include <atomic>

#include "runtime/collectable.h"
#include "runtime/event.h"
#include "runtime/foundation/collections.h"
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
  pthread_t _threadId;
};

class ZOVLock : public ZOVCollectable {
 public:
  /// `name` is for dumps and kept by pointer; null reads "Unknown".
  explicit ZOVLock(const char* name = nullptr);
  ~ZOVLock() override;
  ZOVLock(const ZOVLock&) = delete;
  ZOVLock& operator=(const ZOVLock&) = delete;
  RWClassID isA() const override { return 32704; }
  bool isEqual(const RWCollectable* other) const override { return this == other; }

  /// Creates pLockMutex when it does not exist. Called before the first lock is made.
  static void init();
  static ZOVMutex* pLockMutex;  ///< never destroyed

  int get(_LockRequestType type, _WaitRequestType wait);
  void release(_LockRequestType type);
  const char* getName() const { return _name; }
  static int getErrorCode() { return pLockMutex ? pLockMutex->getErrorCode() : -1; }

  virtual ZOVThread* getCurrentThread() const;  ///< null when the calling thread is not known
  /// With pLockMutex held: non-zero when a wait of the calling thread for this lock would close a cycle.
  virtual int testDeadlockCondition();
  virtual void deadlockFound(const ZOVThread* first, const ZOVThread* second, const ZOVLock* lock);
  virtual void diagDump() const;
  virtual int getLockLevel() const { return 0; }

 private:
  struct Request;
  int convert(Request& request);  // with pLockMutex held; gives it back unless the answer is "again"
  int enqueueAndWait(Request& request);
  int waitFor(ZOVEvent& event);
  void grantExclusive(Request& request);
  void grantShared(Request& request);
  void releaseExclusive(_LockRequestType type, ZOVThread* thread, bool& gaveUp);
  void releaseShared(_LockRequestType type, ZOVThread* thread);
  void wakeWaiters(bool gaveUpExclusive);
  LockHolder* findHolder(pthread_t id) const;  // with pLockMutex held
  void getThreadsHoldingLocks(const RWOrdered& locks, RWOrdered& threads) const;

  // Written under pLockMutex; read by the owner without it.
  std::atomic<int> _exclusiveCount{0};
  std::atomic<pthread_t> _owner{0};
  // Guarded by pLockMutex.
  RWSlistCollectables _waiters;
  RWOrdered _sharedHolders{4};
  RWSlistCollectables _upgraders;

  const char* _name;
  int _enabled = 1;
};

/// Holds a lock for a scope that cannot raise. Where the scope may raise, use holding() of recovery.h.
class ZOVLockScope {
 public:
  ZOVLockScope(ZOVLock& lock, _LockRequestType mode) : _lock(lock), _mode(mode) { _lock.get(mode, Wait); }
  ~ZOVLockScope() { _lock.release(_mode); }
  ZOVLockScope(const ZOVLockScope&) = delete;
  ZOVLockScope& operator=(const ZOVLockScope&) = delete;

 private:
  ZOVLock& _lock;
  _LockRequestType _mode;
};
