#pragma once
// ZOVAsynchronousTask: an object that owns one background thread, with a handshake for start and one for
// shutdown. startBackgroundThread and shutdown are called from outside the thread; backgroundProcessing runs
// on it and calls startupCompleted as soon as it knows how its start went. An end before that, or a failed
// thread start, answers 0.
//
// A raise in backgroundProcessing ends the thread; the task's last steps run on that path too, so that a
// later shutdown does not hang.

#include <atomic>

#include "runtime/collectable.h"
#include "runtime/event.h"
#include "runtime/lock.h"

class ZOVRecoverableThread;
class ZOVThread;

class ZOVAsynchronousTask : public ZOVCollectable {
 public:
  explicit ZOVAsynchronousTask(const char* lockName = nullptr);
  /// Shuts down. A class with members that its thread uses calls shutdown in its own destructor, before they
  /// go.
  ~ZOVAsynchronousTask() override;

  virtual void backgroundProcessing() = 0;
  virtual int startBackgroundThread();  ///< answers the startup result
  virtual void shutdown();              ///< safe twice, and on a task that never started

  int lock(_LockRequestType type, _WaitRequestType wait) { return _taskLock.get(type, wait); }
  void release(_LockRequestType type) { _taskLock.release(type); }
  int isShutdownRequested() const { return _shutdownRequested; }

 protected:
  void startupCompleted(int result);
  void requestShutdown() { _shutdownRequested = 1; }

  ZOVLock _taskLock;
  ZOVEvent _shutdownEvent;  // posted to wake the thread for shutdown

 private:
  static int launchBackgroundProcessing(void* task, ZOVThread* thread);

  ZOVEvent _threadDoneEvent;
  ZOVEvent _startupEvent;
  std::atomic<int> _shutdownRequested{0};  // set once, never reset
  std::atomic<int> _startupResult{0};
  std::atomic<ZOVRecoverableThread*> _thread{nullptr};  // null when none
};
