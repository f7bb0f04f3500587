#pragma once
// Recovery frames. A raise is a jump to the innermost frame of the thread; destructors between the raise and
// the frame do not run. So: what must not be lost across a call that may raise (a lock, a descriptor, a
// waiter) is owned through a frame, and a frame that cannot make good raises again.
//
//   auto failure = guarded("ZOVCAGNT", "ZOVAgent::Process", [&] { ... });
//   if (failure) ...                       // what reached the frame; it has been displayed already
//
// A C++ exception that leaves the body (std::bad_alloc: code 3, any other std::exception: code 5) is taken as
// a raise; a thread's cancellation passes through, with the frame popped.

#include <exception>
#include <optional>
#include <type_traits>

#include "runtime/collectable.h"
#include "runtime/exception.h"
#include "runtime/lock.h"

/// The record of one recovery frame. Belongs to its thread, and is touched by no other but for dumps.
class ZOVThreadRecoveryEnvironmentElement : public ZOVCollectable {
 public:
  ZOVThreadRecoveryEnvironmentElement(const char* tag, const char* function)
      : _tag(tag), _function(function) {}
  RWClassID isA() const override { return 32701; }
  bool isEqual(const RWCollectable* other) const override { return this == other; }

  void setException(const ZOVException& exception) { _exception = exception; }
  ZOVException& getException() { return _exception; }
  /// Stores the exception here and jumps to the innermost frame.
  [[noreturn]] void throwException(const ZOVException& exception);
  const char* getSourceTag() const { return _tag; }
  const char* getFunctionName() const { return _function; }

 private:
  ZOVException _exception;
  const char* _tag;       // not copied
  const char* _function;  // not copied
};

/// Raises on the calling thread's current element. Returns, having done nothing, when there is none: a raise
/// is only made where a recovery environment stands.
void zovRaise(const ZOVException& exception);

namespace zov_detail {
/// Runs body(context) in a frame with a recovery element. The exception that reached the frame, displayed, or
/// nothing on the normal path.
std::optional<ZOVException> runGuarded(const char* tag, const char* function, void (*body)(void*),
                                       void* context);
}  // namespace zov_detail

/// Runs body inside a recovery frame named (tag, function). Returns nothing on the normal path, and the
/// exception that reached the frame on the raised path. Both texts are kept by pointer.
template <class Body>
std::optional<ZOVException> guarded(const char* tag, const char* function, Body&& body) {
  using Plain = std::remove_reference_t<Body>;
  return zov_detail::runGuarded(
      tag, function, [](void* context) { (*static_cast<Plain*>(context))(); },
      const_cast<void*>(static_cast<const void*>(&body)));
}

/// Holds lock in the given mode while body runs; gives it back on every path (return, raise, C++ exception,
/// cancellation) and then raises or throws again. Answers what body answers.
template <class Body>
auto holding(ZOVLock& lock, _LockRequestType mode, Body&& body) {
  lock.get(mode, Wait);
  struct Release {
    ZOVLock& lock;
    _LockRequestType mode;
    ~Release() { lock.release(mode); }
  };
  using Result = std::invoke_result_t<Body>;
  if constexpr (std::is_void_v<Result>) {
    std::optional<ZOVException> failure;
    {
      Release release{lock, mode};
      failure = guarded("ZOVCLOCK", lock.getName(), body);
    }
    if (failure) zovRaise(*failure);
  } else {
    std::optional<Result> result;
    std::optional<ZOVException> failure;
    {
      Release release{lock, mode};
      failure = guarded("ZOVCLOCK", lock.getName(), [&] { result.emplace(body()); });
    }
    if (failure) zovRaise(*failure);
    // With no frame around this one the raise is skipped; the caller gets a default result.
    if (!result) return Result{};
    return std::move(*result);
  }
}
