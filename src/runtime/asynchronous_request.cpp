#include "runtime/asynchronous_request.h"

#include "runtime/recovery.h"
#include "runtime/trace_scope.h"

static DGT1_Unit traceUnit("ZOVCARQS");

RPXAsynchronousCollectionRequest::~RPXAsynchronousCollectionRequest() {
  clearAndDestroy();
}

RWCollectable* RPXAsynchronousCollectionRequest::insert(RWCollectable* sample) {
  ZOV_TRACE(Restricted);
  return holding(_lock, Exclusive, [&] {
    RWCollectable* inserted = append(sample);
    _arrival.post();
    return inserted;
  });
}

void RPXAsynchronousCollectionRequest::setComplete(const ZOVReturnCode& code) {
  ZOV_TRACE(Restricted);
  holding(_lock, Exclusive, [&] {
    _result = code;
    _complete = true;
    _arrival.post();
  });
}

RWCollectable* RPXAsynchronousCollectionRequest::get() {
  ZOV_TRACE(Restricted);
  for (;;) {
    bool ended = false;
    RWCollectable* sample = holding(_lock, Exclusive, [&] {
      ended = _complete;
      return removeFirst();
    });
    if (sample != nullptr || ended) return sample;
    _arrival.wait();
  }
}
