#pragma once
// ZOVRecoverableThread: a thread with a stack of recovery elements, an optional internal trace, and a place
// in the thread table. A raise that reaches its entry ends the thread alone: its message is written, its
// locks are given back, the process goes on.
//
// The recovery stack is touched by its own thread; a dump reads it without a lock.

#include <memory>

#include "foundation/string.h"
#include "runtime/internal_trace.h"
#include "runtime/thread.h"

class ZOVThreadRecoveryEnvironmentElement;

class ZOVRecoverableThread : public ZOVThread {
 public:
  ZOVRecoverableThread();  ///< for a thread that is adopted: its id is the caller's
  ZOVRecoverableThread(EntryPoint entry, void* argument, int argumentSize, unsigned int stackSize);
  ~ZOVRecoverableThread() override;

  int supposedToRegister() const override { return 1; }
  /// Answers 0 too when the thread table has no slot for a further thread.
  int start(ZOVThreadManager* manager) override;
  void registerThread() override;
  void deregisterThread() override;
  void callThreadEP() override;
  int threadFailed() const override { return _failed; }
  void diagDump() const override;

  virtual int canBeDeleted() const;  ///< not registered, not being deleted, no live element
  /// Null when none is live.
  virtual ZOVThreadRecoveryEnvironmentElement* getCurrentRecoveryElement() const { return _top; }
  virtual void prepareToDelete();
  virtual int getSourceFileAndFunctionName(RWCString& tag, RWCString& function, int depth) const;

  void pushRecoveryEnvironment(const char* tag, const char* function);
  void popRecoveryEnvironment();
  /// Makes `element`, one of this thread's, the current one again: what lies above it was left by a raise.
  void cutRecoveryStackTo(ZOVThreadRecoveryEnvironmentElement* element) { _top = element; }
  int getRecoveryDepth() const;
  /// Whether it stands in the thread table in its own right, and not for a frame alone. Of the environment.
  void setRegistered(bool registered) { _registered = registered; }
  void saveTraceEntry(const char* tag, const char* function, int type, long parameter);
  void printInternalTrace() const;
  void printStackDump() const;

 protected:
  void partedFromRun() override;

 private:
  static void markFailed();

  std::atomic<ZOVThreadRecoveryEnvironmentElement*> _top{nullptr};
  ZOVThreadRecoveryEnvironmentElement* _bottom = nullptr;  // the elements are kept for reuse after a pop
  std::atomic<bool> _failed{false};
  std::unique_ptr<ZOVInternalTraceTable> _internalTrace;  // null unless internal trace is on
  std::atomic<bool> _registered{false};
  bool _beingDeleted = false;
};
