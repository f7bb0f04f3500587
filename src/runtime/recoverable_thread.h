#pragma once
// ZOVRecoverableThread: a thread with a stack of recovery elements, an optional internal trace, and a place
// in the thread table. A raise that reaches its entry ends the thread alone: its message is written, its
// locks are given back, the process goes on.

#include <memory>

#include "runtime/foundation/collections.h"
#include "runtime/foundation/string.h"
#include "runtime/internal_trace.h"
#include "runtime/thread.h"

class ZOVThreadRecoveryEnvironmentElement;

class ZOVRecoverableThread : public ZOVThread {
 public:
  ZOVRecoverableThread();  ///< for a thread that is adopted: its id is the caller's
  ZOVRecoverableThread(EntryPoint entry, void* argument, int argumentSize, unsigned int stackSize);
  ~ZOVRecoverableThread() override;

  int supposedToRegister() const override { return 1; }
  void registerThread() override;
  void deregisterThread() override;
  void callThreadEP() override;
  int threadFailed() const override { return _failed; }
  void diagDump() const override;

  virtual int canBeDeleted() const;  ///< not registered, not being deleted, no live element
  virtual ZOVThreadRecoveryEnvironmentElement* getCurrentRecoveryElement() const;  ///< null when none is live
  virtual void prepareToDelete();
  virtual int getSourceFileAndFunctionName(RWCString& tag, RWCString& function, int depth) const;

  void pushRecoveryEnvironment(const char* tag, const char* function);
  void popRecoveryEnvironment();
  int getRecoveryDepth() const { return _recoveryDepth; }
  void saveTraceEntry(const char* tag, const char* function, int type, long parameter);
  void printInternalTrace() const;
  void printStackDump() const;

 private:
  RWOrdered _recoveryStack;  // elements, kept for reuse after a pop; touched by this thread alone
  std::atomic<int> _recoveryDepth{0};
  std::atomic<int> _failed{0};
  std::unique_ptr<ZOVInternalTraceTable> _internalTrace;  // null unless internal trace is on
  int _registered = 0;
  int _beingDeleted = 0;
};
