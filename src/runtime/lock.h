#pragma once
// ZOVLock: a named shared/exclusive lock, recursive in both modes, with conversion of a shared hold to
// exclusive, with a record per thread of what it holds, and with a deadlock check that runs before each wait
// and turns a deadlock into a recoverable exception (code 6) in the thread that would have closed the cycle.
//
// One mutex, pLockMutex, guards the state of all locks of the process, since the check needs all of them
// stable at once. It is the innermost of all and never held across a wait or a raise; a fault under it is
// made good by the frame that the fault reaches. Recursive acquisition and its release take no mutex, and no
// acquisition allocates once it has warmed up. Locks have no fairness: a reader is let in as soon as nobody
// holds the lock exclusively.
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

class ZOVLock : public ZOVCollectable {
 public:
  /// `name` is for dumps and kept by pointer; null reads "Unknown".
  explicit ZOVLock(const char* name = nullptr);
  /// Takes the lock off the records of the threads that hold it. Nobody may wait for it.
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
  /// With pLockMutex held: non-zero when a wait of the calling thread for this lock would close a cycle.
  virtual int testDeadlockCondition();
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

  // All with pLockMutex held; of these only the two waits give it back, and take it again.
  Grant acquire(Caller& caller, _LockRequestType type, _WaitRequestType wait);
  Grant tryGrant(Caller& caller, _LockRequestType type, _WaitRequestType wait);
  Grant mustWait(const Caller& caller, _LockRequestType type, _WaitRequestType wait);
  bool mustConvert(const Caller& caller, _LockRequestType type) const;
  Grant grantExclusive(const Caller& caller, const char* traceFormat);
  Grant grantShared(Caller& caller);
  void waitInQueue(const Caller& caller, Waiter& waiter);
  void waitToConvert(const Caller& caller, Waiter& waiter);
  bool releaseExclusive(_LockRequestType type);
  void releaseShared(_LockRequestType type);
  void wakeWaiters(bool gaveUpExclusive);
  LockHolder* findHolder(pthread_t id) const;
  void dropHolder(LockHolder* holder);
  void addThreadsThatWait(const ZOVThread* caller, std::vector<ZOVThread*>& threads) const;

  Caller identify() const;
  void wait(ZOVEvent& event) const;
  void trace(const char* format) const;

  // Written under pLockMutex; read by the owner without it.
  std::atomic<int> _exclusiveCount{0};
  std::atomic<pthread_t> _owner{0};
  // Guarded by pLockMutex.
  Queue _waiters;
  std::vector<LockHolder*> _sharedHolders;
  Queue _upgraders;
  bool _averted = false;  // a thread may still name this lock as the one that it waits for
  static LockHolder* spareHolders;

  const char* _name;
  int _enabled = 1;
};

/// Holds a lock for a scope that cannot raise. Where the scope may raise, use holding() of recovery.h.
class ZOVLockScope {
 public:
  ZOVLockScope(ZOVLock& lock, _LockRequestType mode)
      : _lock(lock), _mode(mode), _held(_lock.get(mode, Wait) == 0) {}
  ~ZOVLockScope() {
    if (_held) _lock.release(_mode);
  }
  ZOVLockScope(const ZOVLockScope&) = delete;
  ZOVLockScope& operator=(const ZOVLockScope&) = delete;

 private:
  ZOVLock& _lock;
  _LockRequestType _mode;
  bool _held;
};
