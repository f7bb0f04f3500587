#pragma once
// ZOVServiceTask: a task with a queue of requests. Any thread offers requests; the task's thread alone takes
// them. Once shutdown is requested, and while the thread does not run, what is offered is finished at once
// with code 171; what was queued is finished with it when the thread has ended, however it did.

#include "runtime/asynchronous_request.h"
#include "runtime/task.h"

class ZOVServiceTask : public ZOVAsynchronousTask {
 public:
  enum _ProcessingMode { ReturnAtOnce = 0, WaitForCompletion = 1 };

  explicit ZOVServiceTask(const char* lockName = nullptr) : ZOVAsynchronousTask(lockName) {}
  /// Completes what is queued and shuts down. A class with members that its thread uses calls shutdown in its
  /// own destructor, before they go.
  ~ZOVServiceTask() override;

  void shutdown() override;
  /// The first request; waits for one. Null once shutdown is requested, also when requests are still queued.
  virtual RPXAsynchronousCollectionRequest* waitForNextRequest();
  /// The same with one wait of at most `seconds`; null when nothing came. 0 only looks.
  virtual RPXAsynchronousCollectionRequest* waitForNextRequest(int seconds);
  /// Queues the request. WaitForCompletion waits for its end, destroys the samples that came, and answers its
  /// result; the other mode answers 0 at once.
  virtual ZOVReturnCode processRequest(RPXAsynchronousCollectionRequest* request, _ProcessingMode mode);

 protected:
  void threadEnded() override;

  ZOVEvent _requestEvent;  // posted for each request and for shutdown

 private:
  // A place in the queue; the request itself is no collectable.
  class Pending : public ZOVCollectable {
   public:
    explicit Pending(RPXAsynchronousCollectionRequest* pending) : request(pending) {}
    RPXAsynchronousCollectionRequest* const request;
  };
  RPXAsynchronousCollectionRequest* takeFirst();
  void completeQueued();

  RWSlistCollectables _pending ZOV_GUARDED_BY(_taskLock);
};
