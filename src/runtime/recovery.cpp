#include "runtime/recovery.h"

#include <exception>
#include <new>

#include "platform/cancellation.h"
#include "platform/frames.h"
#include "runtime/environment.h"
#include "runtime/recoverable_thread.h"
#include "runtime/trace_scope.h"

static DGT1_Unit traceUnit("ZOVCRCVY");

namespace {
using zov_detail::Action;

// Runs the body in a plain frame. A raise jumps past the ends of scopes, and a fault may strike anywhere: the
// frame undoes what it did not find done of what the whole thread depends on.
XFR1_Outcome runFrame(Action body, void* context) {
  ZOVLock::init();
  const int mutexDepth = ZOVLock::pLockMutex->depth();
  const int cancellationDepth = zov::CancellationOff::depth();
  zov::TraceHold* const hold = zov::TraceHold::current();
  const XFR1_Outcome outcome = XFR1_Run(body, context);
  if (!outcome.raised) return outcome;
  ZOVLock::pLockMutex->releaseTo(mutexDepth);
  zov::CancellationOff::cutTo(cancellationDepth);
  zov::TraceHold::cutTo(hold);
  return outcome;
}

// One frame of guarded: what its body is, and what has become of it.
struct GuardedCall {
  const char* tag;
  const char* function;
  Action body;
  void* context;
  ZOVRecoverableThread* thread = nullptr;
  ZOVThreadRecoveryEnvironmentElement* element = nullptr;
  std::optional<ZOVException> thrown;  // a C++ exception, as the raise that it stands for

  void run();
  void runBody();
  ZOVException recover(const XFR1_Outcome& outcome);
};

// Ends the recovery environment on the normal path and when the thread is cancelled.
struct EnvironmentScope {
  GuardedCall& call;
  explicit EnvironmentScope(GuardedCall& guardedCall) : call(guardedCall) {
    if (!ZOVAgentEnvironment::setRecoveryEnvironment(call.tag, call.function)) {
      call.thrown = ZOVException::recoverable(ZOV_NO_SUBTASK);
      return;
    }
    call.thread = ZOVAgentEnvironment::getActiveThread();
    if (call.thread != nullptr) call.element = call.thread->getCurrentRecoveryElement();
  }
  ~EnvironmentScope() {
    if (!call.thrown && call.element != nullptr) ZOVAgentEnvironment::deleteRecoveryEnvironment();
  }
  EnvironmentScope(const EnvironmentScope&) = delete;
  EnvironmentScope& operator=(const EnvironmentScope&) = delete;
};

void GuardedCall::run() {
  EnvironmentScope scope(*this);
  if (!thrown) runBody();
}

void GuardedCall::runBody() {
  try {
    body(context);
  } catch (const std::bad_alloc&) {
    thrown = ZOVException::recoverable(ZOV_OUT_OF_STORAGE);
  } catch (const std::exception& exception) {
    DGT1_Printf(traceUnit, DGT1_ERROR, "Exception caught in %s: %s", function, exception.what());
    thrown = ZOVException::caught(0);
  } catch (...) {
    if (std::current_exception() == nullptr) throw;  // no exception: the thread is being cancelled
    DGT1_Printf(traceUnit, DGT1_ERROR, "Exception of an unknown type caught in %s", function);
    thrown = ZOVException::caught(0);
  }
}

// A failure in telling of a failure is not told.
void display(const ZOVAgentEnvironment& environment, ZOVThreadRecoveryEnvironmentElement& element,
             const char* tag, const char* function) {
  struct Call {
    const ZOVAgentEnvironment& environment;
    const char* tag;
    const char* function;
  } call{environment, tag, function};
  const ZOVException told = element.getException();
  const XFR1_Outcome outcome = runFrame(
      [](void* context) {
        const auto& to = *static_cast<Call*>(context);
        try {
          to.environment.displayException(to.tag, to.function);
        } catch (const std::exception& exception) {
          DGT1_Printf(traceUnit, DGT1_ERROR, "displayException: %s", exception.what());
        }
      },
      &call);
  if (outcome.raised) element.setException(told);
}

ZOVException GuardedCall::recover(const XFR1_Outcome& outcome) {
  ZOVException local = thrown                   ? *thrown
                       : outcome.raiseCode != 0 ? ZOVException::caught(outcome.raiseCode)
                                                : ZOVException();
  ZOVAgentEnvironment* environment = ZOVAgentEnvironment::pEnvironment.load();
  // The thread's object may be another by now, or gone, when the thread has been killed.
  if (environment == nullptr || element == nullptr || environment->findThread() != thread) return local;
  thread->cutRecoveryStackTo(element);
  if (thrown || outcome.raiseCode != 0) element->setException(local);
  display(*environment, *element, tag, function);
  thread->cutRecoveryStackTo(element);
  local = element->getException();
  if (!local.isRecoverable()) environment->startQuiesce(ZOV_PROGRAM_EXCEPTION);
  ZOVAgentEnvironment::deleteRecoveryEnvironment();
  return local;
}

// Raises again what has reached a frame that cannot make good.
bool raiseAgain(unsigned long raiseCode) {
  XFR1_Block* block = XFR1_Thread();
  if (block->current == nullptr) return false;
  XFR1__Raise(block, raiseCode);
}
}  // namespace

void ZOVThreadRecoveryEnvironmentElement::throwException(const ZOVException& exception) {
  DGT1_Printf(traceUnit, DGT1_DETAIL, "Exception %i thrown.  Recoverable = %i",
              static_cast<unsigned int>(exception.getReturnCode()), exception.isRecoverable());
  setException(exception);
  XFR1__Raise(XFR1_Thread(), 0);
}

void zovRaise(const ZOVException& exception) {
  const ZOVAgentEnvironment* environment = ZOVAgentEnvironment::pEnvironment.load();
  ZOVThreadRecoveryEnvironmentElement* element =
      environment != nullptr ? environment->getCurrentRecoveryElement() : nullptr;
  if (element != nullptr && XFR1_Thread()->current != nullptr) element->throwException(exception);
}

std::optional<ZOVException> zov_detail::runGuarded(const char* tag, const char* function, Action body,
                                                   void* context) {
  GuardedCall call{tag, function, body, context, nullptr, nullptr, std::nullopt};
  const XFR1_Outcome outcome =
      runFrame([](void* guardedCall) { static_cast<GuardedCall*>(guardedCall)->run(); }, &call);
  if (!outcome.raised && !call.thrown) return std::nullopt;
  return call.recover(outcome);
}

bool zov_detail::runWithCleanup(Action body, void* bodyContext, Action cleanup, void* cleanupContext) {
  struct Cleanup {
    Action action;
    void* context;
    ~Cleanup() {
      const zov::CancellationOff whole;
      action(context);
    }
  };
  XFR1_Outcome outcome{false, 0};
  if (XFR1_Thread()->current == nullptr) {
    const Cleanup last{cleanup, cleanupContext};
    return !runGuarded("ZOVCRCVY", "withCleanup", body, bodyContext);
  }
  {
    const Cleanup last{cleanup, cleanupContext};
    outcome = runFrame(body, bodyContext);
  }
  return !outcome.raised || raiseAgain(outcome.raiseCode);
}

bool zov_detail::runHolding(ZOVLock& lock, _LockRequestType mode, Action body, void* context) {
  struct Hold {
    ZOVLock& lock;
    _LockRequestType mode;
  } hold{lock, mode};
  const int result = lock.get(mode, Wait);
  if (result == 1) body(context);  // locking is disabled on it: there is nothing to give back
  if (result != 0) return result == 1;
  return runWithCleanup(
      body, context,
      [](void* held) {
        const auto* what = static_cast<const Hold*>(held);
        what->lock.release(what->mode);
      },
      &hold);
}
