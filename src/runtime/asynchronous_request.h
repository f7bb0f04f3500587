#pragma once
// RPXAsynchronousCollectionRequest: one request for samples, handed from the thread that collects to the
// thread that waits. The collecting thread calls insert for each sample and setComplete at the end; the
// waiting thread calls get until it answers null. Its creator destroys it, after that null at the earliest;
// samples that nobody took go with it.

#include <atomic>

#include "foundation/collections.h"
#include "runtime/event.h"
#include "runtime/lock.h"
#include "runtime/return_code.h"

class RPXAsynchronousCollectionRequest : public RWDlistCollectables, public ZOVMemoryManager {
 public:
  RPXAsynchronousCollectionRequest() = default;
  ~RPXAsynchronousCollectionRequest() override;
  RPXAsynchronousCollectionRequest(const RPXAsynchronousCollectionRequest&) = delete;
  RPXAsynchronousCollectionRequest& operator=(const RPXAsynchronousCollectionRequest&) = delete;

  RWCollectable* insert(RWCollectable* sample) override;  ///< the request's from here on
  void setComplete(const ZOVReturnCode& code);
  /// The last thing that a processor does with the request, which may be gone behind it: setComplete, and
  /// what a class does with requests that nobody waits for.
  virtual void finish(const ZOVReturnCode& code) { setComplete(code); }
  /// Waits for a sample, which is the caller's then; null at the end.
  RWCollectable* get();
  ZOVReturnCode getResult() const { return ZOVReturnCode(_result.load()); }

 private:
  std::atomic<unsigned int> _result{0};
  ZOVEvent _arrival;  // posted for each sample and at the end
  ZOVLock _lock;      // guards the list; never held during a wait
  std::atomic<bool> _complete{false};
};
