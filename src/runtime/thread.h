#pragma once
// ZOVThread: a thread object knows its entry point, its state, the lock that it waits for and, while it is
// known, the locks that it holds; the last two are what the deadlock check walks. Threads are detached and
// never joined; the done event tells their end. The object outlives the thread, and its destructor waits for
// it.

#include <pthread.h>

#include <atomic>
#include <functional>
#include <memory>

#include "runtime/collectable.h"
#include "runtime/event.h"
#include "runtime/held_locks.h"
#include "runtime/lock.h"
#include "runtime/mutex.h"

class ZOVThreadManager;

class ZOVThread : public ZOVCollectable {
 public:
  using EntryPoint = int (*)(void* argument, ZOVThread* thread);
  enum _ThreadState {
    WaitingToRun = 0,
    Running = 1,
    Paused = 2,
    WaitingForLock = 3,
    WaitingForEvent = 4,
    Suspended = 5,
    Completed = 6,
  };
  static const char* getStateText(int state);  ///< "Unknown" outside the enumeration

  using HeldLockPlaceholderTable = ::HeldLockPlaceholderTable;
  using HeldLockPlaceholderIterator = ::HeldLockPlaceholderIterator;

  ZOVThread() = default;
  /// With argumentSize not 0 the argument is copied and owned. stackSize 0: the system's default.
  ZOVThread(EntryPoint entry, void* argument, int argumentSize, unsigned int stackSize);
  ZOVThread(const ZOVThread& other);  ///< entry point and argument only
  ZOVThread& operator=(const ZOVThread&) = delete;
  ~ZOVThread() override;
  RWClassID isA() const override { return 32705; }
  bool isEqual(const RWCollectable* other) const override { return this == other; }

  virtual int supposedToRegister() const { return 0; }
  virtual void registerThread() {}
  virtual void deregisterThread() {}
  virtual void callThreadEP();
  virtual int start(ZOVThreadManager* manager);  ///< answers the running flag
  virtual int kill();                            ///< 0 when the thread is not running; releases no lock
  virtual void waitForThreadToFinish();
  virtual int threadFailed() const { return 0; }
  virtual int deleteThreadWhenFinished() const { return 0; }
  virtual void setState(_ThreadState state) { _state = state; }
  virtual int waitForUnavailableLock(const ZOVLock& lock, int type);
  virtual void lockAcquired();  ///< the wait is over
  virtual void diagDump() const;
  virtual void callForEachLockHeld(void (*function)(const ZOVLock*, const ZOVThread*, void*),
                                   void* context) const;
  /// Gives back what the calling thread took while this object was its own. An entry that cannot be given
  /// back is dropped.
  virtual void freeAllLocks();
  /// Forgets a lock that is about to go.
  void forgetLock(const ZOVLock& lock) ZOV_REQUIRES(*ZOVLock::pLockMutex);
  /// The object and the record of what its thread holds know each other no longer.
  void detach();

  bool isThisCurrentThread() const { return _threadId.load() == pthread_self(); }
  unsigned long getThreadId() const { return _threadId.load(); }
  _ThreadState getState() const { return _state; }
  const ZOVLock* getLockWaitedFor() const { return _lockWaitedFor; }
  int getExitCode() const { return _exitCode; }

 protected:
  /// Waits for the end of the thread. One that was killed gets a moment to come to its end, by unwinding or
  /// by returning (zovWaits().killedThreadSeconds), and is parted from this object then: what it does later
  /// does not touch the object. The first line of the destructor of each class that the thread's end uses.
  void partFromThread();
  /// The object has been parted from a run that was killed and goes on without it.
  virtual void partedFromRun() {}
  /// Runs the action on the object of the calling thread, unless the two have parted. The object stays until
  /// the action ends.
  static void toOwnObject(const std::function<void(ZOVThread&)>& action);

  std::atomic<unsigned long> _threadId{0};  // pthread_self() as seen inside the thread

 private:
  friend class ZOVThreadManager;
  friend class ZOVHeldLocks;
  struct Life;  // what a running thread and its object share, so that either may go first
  class LifeScope;
  static void* ThreadDispatcher(void* life);
  void enterNewThread();
  ZOVThreadManager* endOfThread();  // the manager that is still to be told
  void partFromFormerRun();
  void createLocked(ZOVThreadManager* manager) ZOV_REQUIRES(*_stateMutex);
  void markEnded();
  void dumpLocks() const;

  unsigned int _stackSize = 0;
  EntryPoint _entryPoint = nullptr;
  int _exitCode = 0;
  void* _argument = nullptr;
  int _argumentSize = 0;
  bool _ownsArgument = false;
  std::atomic<bool> _running{false};
  std::atomic<bool> _killed{false};
  std::unique_ptr<ZOVEvent> _doneEvent;
  std::unique_ptr<ZOVMutex> _stateMutex;  // orders start, kill and the end of the thread
  std::atomic<_ThreadState> _state{WaitingToRun};
  std::atomic<ZOVHeldLocks*> _held{nullptr};  // its thread's record while it is known; under pLockMutex
  std::atomic<const ZOVLock*> _lockWaitedFor{nullptr};
  pthread_t _handle ZOV_GUARDED_BY(*_stateMutex){};
  pthread_attr_t _attributes ZOV_GUARDED_BY(*_stateMutex){};
  bool _attributesInitialised ZOV_GUARDED_BY(*_stateMutex) = false;
  ZOVThreadManager* _manager ZOV_GUARDED_BY(*_stateMutex) = nullptr;
  std::shared_ptr<Life> _life;
};
