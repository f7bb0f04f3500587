#pragma once
// CancellationOff: while one lives, a kill of the thread stays pending, also in the waits where it would act.
// For cleanups, destructors and whatever else must not be left half-way. They nest. A raise jumps past the
// destructor: the frame that it reaches calls cutTo() with the depth() that it began with.

#include <pthread.h>

namespace zov {

class CancellationOff {
 public:
  CancellationOff() {
    if (state.depth++ == 0) pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &state.former);
  }
  ~CancellationOff() { cutTo(state.depth - 1); }
  CancellationOff(const CancellationOff&) = delete;
  CancellationOff& operator=(const CancellationOff&) = delete;

  static int depth() { return state.depth; }
  static void cutTo(int depth) {
    if (state.depth <= depth) return;
    state.depth = depth;
    if (depth == 0) pthread_setcancelstate(state.former, nullptr);
  }

 private:
  struct State {
    int depth;
    int former;  // before the outermost
  };
  static inline constinit thread_local State state{0, PTHREAD_CANCEL_ENABLE};
};

}  // namespace zov
