#include "runtime/service_task.h"

#include <cstdint>
#include <memory>

#include "runtime/recovery.h"
#include "runtime/trace_scope.h"

static DGT1_Unit traceUnit("ZOVCSTSK");

ZOVServiceTask::~ZOVServiceTask() {
  ZOVServiceTask::shutdown();
  DGT1_Printf(traceUnit, DGT1_DETAIL, "ZOVServiceTask thread %X is being destroyed",
              reinterpret_cast<std::uintptr_t>(this));
}

void ZOVServiceTask::shutdown() {
  ZOV_TRACE(Public);
  DGT1_Printf(traceUnit, DGT1_DETAIL, "Shutdown called for ZOVServiceTask thread %X",
              reinterpret_cast<std::uintptr_t>(this));
  holding(_taskLock, Exclusive, [this] {
    requestShutdown();
    _requestEvent.post();
  });
  ZOVAsynchronousTask::shutdown();
  completeQueued();
}

void ZOVServiceTask::threadEnded() {
  completeQueued();
}

void ZOVServiceTask::completeQueued() {
  while (RPXAsynchronousCollectionRequest* request = takeFirst()) request->finish(ZOV_TASK_SHUTTING_DOWN);
}

RPXAsynchronousCollectionRequest* ZOVServiceTask::takeFirst() {
  return holding(_taskLock, Exclusive, [this]() ZOV_REQUIRES(_taskLock) -> RPXAsynchronousCollectionRequest* {
    const std::unique_ptr<Pending> first(static_cast<Pending*>(_pending.removeFirst()));
    return first != nullptr ? first->request : nullptr;
  });
}

RPXAsynchronousCollectionRequest* ZOVServiceTask::waitForNextRequest() {
  ZOV_TRACE(Restricted);
  while (!isShutdownRequested()) {
    if (RPXAsynchronousCollectionRequest* request = takeFirst()) return request;
    _requestEvent.wait();
  }
  return nullptr;
}

RPXAsynchronousCollectionRequest* ZOVServiceTask::waitForNextRequest(int seconds) {
  ZOV_TRACE(Restricted);
  if (isShutdownRequested()) return nullptr;
  if (RPXAsynchronousCollectionRequest* request = takeFirst()) return request;
  if (seconds <= 0) return nullptr;
  _requestEvent.waitWithTimeout(seconds);
  return isShutdownRequested() ? nullptr : takeFirst();
}

ZOVReturnCode ZOVServiceTask::processRequest(RPXAsynchronousCollectionRequest* request,
                                             _ProcessingMode mode) {
  ZOV_TRACE(Restricted);
  const bool refused = holding(_taskLock, Exclusive, [&]() ZOV_REQUIRES(_taskLock) {
    if (isShutdownRequested() || !isThreadRunning()) return true;
    _pending.append(new Pending(request));
    _requestEvent.post();
    return false;
  });
  if (refused) request->finish(ZOV_TASK_SHUTTING_DOWN);
  if (mode != WaitForCompletion) return 0;
  while (const RWCollectable* sample = request->get()) delete sample;
  return request->getResult();
}
