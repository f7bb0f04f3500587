#pragma once
// zov::ServerThread: a background thread of one server, which does its work in turns and rests between them.
// A server has two: the collector monitor and the statistics. The thread starts when it is wanted, can be
// stopped and started again, and is ended for good when its server goes.
//
// A turn that a raise ends costs that turn alone: the thread gives back the locks that the turn held, and
// goes on.
//
// Ownership: a part of the server owns it, and is the work that it runs. Before it is destroyed it has ended;
// one that had to be killed never may be, since nobody can tell what a killed thread still uses.
//
// Threads: any thread may call any operation, with no lock held that the work could want wherever the
// operation waits (stop, end, settle). The work runs on the thread itself.
//
// Lock: a leaf mutex, which guards what it says below. Waits run on steady time.

#include <atomic>
#include <memory>

#include "platform/mutex.h"
#include "runtime/event.h"
#include "runtime/recoverable_thread.h"
#include "runtime/return_code.h"

namespace zov {

/// What a server thread does. Called on that thread, with no lock held.
class ServerThreadWork {
 public:
  virtual void threadBegins() = 0;
  /// How long the thread may rest before the next turn, in seconds; 0 or less when one is due.
  virtual long secondsToNextTurn() = 0;
  /// What is due now. Comes early when the thread was woken.
  virtual void turn() = 0;
  /// A raise has ended the turn. True when the next turn should follow at once; otherwise the thread rests
  /// for a second, so that a turn which fails again and again does not spin.
  virtual bool turnFailed(const ZOVReturnCode& rc) = 0;
  /// The last thing that the thread does, however it ends. Must not raise.
  virtual void threadEnds() = 0;
  /// The thread could not be started. Called by who would have started it, behind the last offer that was
  /// taken. Must not raise.
  virtual void startFailed() = 0;

 protected:
  ~ServerThreadWork() = default;
};

class ServerThread {
 public:
  explicit ServerThread(ServerThreadWork& work) : _work(work) {}
  ~ServerThread();
  ServerThread(const ServerThread&) = delete;
  ServerThread& operator=(const ServerThread&) = delete;

  /// Starts the thread, or wakes the one that runs. False when there will be no further turn: the thread
  /// could not be started, which may be tried again, or it is stopping, or its end has been requested.
  bool start();
  void wake();
  /// Runs `hand` and wakes the thread when a further turn is sure to come; false, with nothing done, when
  /// not. `hand` runs under the mutex, so a few instructions.
  template <class Hand>
  bool offer(Hand&& hand) {
    const MutexLock lock(_mutex);
    if (_state != State::Running || _stopping) return false;
    hand();
    wakeHeld();
    return true;
  }

  /// Tells the thread to stop behind its present turn; it may be started again.
  void requestStop();
  /// On the thread: stops it, unless somebody has woken it since the turn began. Until it has stopped, a
  /// start is refused.
  void stopUnlessWoken();
  /// Waits until the thread has stopped, as long as it takes. Not from the thread itself.
  void waitUntilStopped();
  /// Tells the thread to stop for good.
  void requestEnd();
  /// Ends the thread for good: true when it has ended. It is killed when it takes longer than
  /// zovWaits().threadStopSeconds: false, then and ever after. False too from the thread itself.
  bool end();

  bool isRunning() const;                        ///< from before its start to its last step
  bool isStopping() const { return _stopping; }  ///< without a lock: asked for each sample
  bool hasEnded() const;                         ///< does not run, and was not killed

  /// Wakes the thread and waits until it has done what was due and rests again. For tests.
  void settle();

 private:
  enum class State { Idle, Running, Ending };

  static int run(void* self, ZOVThread* thread);
  void takeTurns();
  void rest(long seconds);
  void wakeHeld() ZOV_REQUIRES(_mutex);
  void setState(State state);
  bool waitUntilIdle(long seconds);

  ServerThreadWork& _work;
  mutable Mutex _mutex;
  Condition _changed;  // told of each change of _state and of _resting
  State _state ZOV_GUARDED_BY(_mutex) = State::Idle;
  bool _ended ZOV_GUARDED_BY(_mutex) = false;  // never to be started again
  bool _killed ZOV_GUARDED_BY(_mutex) = false;
  bool _woken ZOV_GUARDED_BY(_mutex) = false;  // since the last rest
  bool _resting ZOV_GUARDED_BY(_mutex) = false;
  std::atomic<bool> _stopping{false};  // written under _mutex
  ZOVEvent _wakeup;                    // posted and reset under _mutex
  std::shared_ptr<ZOVRecoverableThread> _thread
      ZOV_GUARDED_BY(_mutex);  // kept until the next one, or the end
};

}  // namespace zov
