#pragma once
// Recovery frames. A raise is a jump to the innermost frame of the thread; destructors between the raise and
// the frame do not run. So: what must not be lost across a call that may raise (a lock, a descriptor, a
// waiter) is owned through a frame, and a frame that cannot make good raises again.
//
//   auto failure = guarded(ZOV_PLACE, [&] { ... });
//   if (failure) ...                       // what reached the frame; it has been displayed already
//
//   holding(_lock, Exclusive, [&] { ... });             // given back on every path
//   withCleanup([&] { use(fd); }, [&] { close(fd); });  // however use ends
//
// guarded ends a failure; holding and withCleanup let it pass on to the next frame out, and end it where none
// stands. A C++ exception that reaches guarded (std::bad_alloc: code 3, any other: code 5) is taken as a
// raise; a thread's cancellation passes through all three, with the frame popped.

#include <atomic>
#include <exception>
#include <memory>
#include <optional>
#include <type_traits>
#include <utility>

#include "platform/trace.h"
#include "runtime/collectable.h"
#include "runtime/exception.h"
#include "runtime/lock.h"

/// The record of one recovery frame. Belongs to its thread, and is touched by no other but for dumps. The
/// elements of a thread are chained, and an element stays for reuse when its frame ends.
class ZOVThreadRecoveryEnvironmentElement : public ZOVCollectable {
 public:
  ZOVThreadRecoveryEnvironmentElement(const char* tag, const char* function,
                                      ZOVThreadRecoveryEnvironmentElement* below = nullptr)
      : _tag(tag), _function(function), _below(below) {
    if (below != nullptr) below->_above = this;
  }
  RWClassID isA() const override { return 32701; }
  bool isEqual(const RWCollectable* other) const override { return this == other; }

  /// Makes it the record of a new frame.
  void reset(const char* tag, const char* function) {
    _exception = ZOVException();
    _tag.store(tag, std::memory_order_relaxed);
    _function.store(function, std::memory_order_relaxed);
  }
  void setException(const ZOVException& exception) { _exception = exception; }
  ZOVException& getException() { return _exception; }
  /// Stores the exception here and jumps to the innermost frame.
  [[noreturn]] void throwException(const ZOVException& exception);
  const char* getSourceTag() const { return _tag.load(std::memory_order_relaxed); }
  const char* getFunctionName() const { return _function.load(std::memory_order_relaxed); }
  ZOVThreadRecoveryEnvironmentElement* above() const { return _above; }
  ZOVThreadRecoveryEnvironmentElement* below() const { return _below; }

 private:
  ZOVException _exception;
  std::atomic<const char*> _tag;       // not copied
  std::atomic<const char*> _function;  // not copied
  ZOVThreadRecoveryEnvironmentElement* const _below;
  ZOVThreadRecoveryEnvironmentElement* _above = nullptr;
};

/// Raises on the calling thread's current element. Returns, having done nothing, when there is none: a raise
/// is only made where a recovery environment stands.
void zovRaise(const ZOVException& exception);

namespace zov_detail {
using Action = void (*)(void* context);

std::optional<ZOVException> runGuarded(const char* tag, const char* function, Action body, void* context);
/// False when a failure has ended the body and no frame stands that it could go on to.
bool runWithCleanup(Action body, void* bodyContext, Action cleanup, void* cleanupContext);
bool runHolding(ZOVLock& lock, _LockRequestType mode, Action body, void* context);

/// The action of a pointer to a callable, whose context is the address of that pointer.
template <class Pointer>
Action actionOf() {
  return [](void* context) ZOV_NO_THREAD_SAFETY_ANALYSIS { (**static_cast<Pointer*>(context))(); };
}
}  // namespace zov_detail

/// Runs body inside a recovery frame named (tag, function). Returns nothing on the normal path, and the
/// exception that reached the frame on the raised path; one of code 156, with body not run, where the thread
/// is not known and the thread table is full. Both texts are kept by pointer.
template <class Body>
std::optional<ZOVException> guarded(const char* tag, const char* function, Body&& body) {
  auto* called = std::addressof(body);
  return zov_detail::runGuarded(tag, function, zov_detail::actionOf<decltype(called)>(), &called);
}

/// Runs body, and then cleanup on every path: return, raise, C++ exception, cancellation. What ended the body
/// then goes on, to the next frame out; a failure without one is displayed and ends here, and withCleanup
/// returns. The cleanup must not raise. A kill that is pending acts behind it, not in its waits; so it waits
/// for nothing that may never come.
template <class Body, class Cleanup>
void withCleanup(Body&& body, Cleanup&& cleanup) {
  auto* called = std::addressof(body);
  auto* last = std::addressof(cleanup);
  zov_detail::runWithCleanup(zov_detail::actionOf<decltype(called)>(), &called,
                             zov_detail::actionOf<decltype(last)>(), &last);
}

/// Holds lock in the given mode while body runs; gives it back on every path (return, raise, C++ exception,
/// cancellation), and what ended the body then goes on. Answers what body answers. Without an outer frame a
/// failed body gives a default result; so does a lock that could not be had, with body not run.
template <class Body>
auto holding(ZOVLock& lock, _LockRequestType mode, Body&& body) {
  using Result = std::invoke_result_t<Body&>;
  if constexpr (std::is_void_v<Result>) {
    auto* called = std::addressof(body);
    zov_detail::runHolding(lock, mode, zov_detail::actionOf<decltype(called)>(), &called);
  } else {
    std::optional<Result> result;
    auto keep = [&]() ZOV_NO_THREAD_SAFETY_ANALYSIS { result.emplace(body()); };
    auto* called = &keep;
    zov_detail::runHolding(lock, mode, zov_detail::actionOf<decltype(called)>(), &called);
    if (!result) return Result{};
    return Result(std::move(*result));
  }
}

/// Runs a dump with the mutex held, and writes its lines when that has been given back, which it is on every
/// path. A failure of the dump goes on to the next frame out.
template <class Body>
void dumpUnder(ZOVMutex& mutex, Body&& body) {
  zov::TraceHold lines;
  lines.begin();
  const int depth = mutex.depth();
  withCleanup(
      [&]() ZOV_NO_THREAD_SAFETY_ANALYSIS {
        const zov::RecursiveLock lock(mutex);
        body();
      },
      [&] {
        mutex.releaseTo(depth);
        lines.write();
      });
}
