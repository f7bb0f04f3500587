#pragma once
// ZOVAsynchronousTask: an object that owns one background thread, with a handshake for start and one for
// shutdown. startBackgroundThread and shutdown are called from outside the thread; backgroundProcessing runs
// on it and calls startupCompleted as soon as it knows how its start went. An end before that, or a failed
// thread start, answers 0.
//
// A raise in backgroundProcessing ends the thread; the task's last steps run on that path too, so that a
// later shutdown does not hang. The thread gives back what it holds before them.

#include <atomic>
#include <memory>

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
  /// Answers the startup result. A task that runs already is left as it is.
  virtual int startBackgroundThread();
  virtual void shutdown();  ///< safe twice, and on a task that never started

  int lock(_LockRequestType type, _WaitRequestType wait) { return _taskLock.get(type, wait); }
  void release(_LockRequestType type) { _taskLock.release(type); }
  bool isShutdownRequested() const { return _shutdownRequested; }
  /// True between the start of the thread and its end.
  bool isThreadRunning() const { return _thread.load() != nullptr; }

 protected:
  void startupCompleted(int result);
  /// Among the thread's last steps, when isThreadRunning is false already. Must not raise.
  virtual void threadEnded() {}
  void requestShutdown() { _shutdownRequested = true; }

  ZOVLock _taskLock;
  ZOVEvent _shutdownEvent;  // posted to wake the thread for shutdown

 private:
  static int launchBackgroundProcessing(void* task, ZOVThread* thread);
  void lastSteps(ZOVThread& thread);

  ZOVEvent _threadDoneEvent;
  ZOVEvent _startupEvent;
  std::atomic<bool> _shutdownRequested{false};  // set once, never reset
  std::atomic<int> _startupResult{0};
  std::atomic<bool> _started{false};                    // startupCompleted has been called in this run
  std::atomic<ZOVRecoverableThread*> _thread{nullptr};  // null when none
  std::unique_ptr<ZOVRecoverableThread> _threadObject ZOV_GUARDED_BY(_taskLock);  // outlives its thread
};
