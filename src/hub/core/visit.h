#pragma once
// Who is inside the agent.

#include "platform/clock.h"

namespace zov::hub {

/// Counts the threads of the framework that are inside the agent; one object per visit, on the stack. Any
/// thread.
class Visit {
 public:
  Visit();
  ~Visit();
  Visit(const Visit&) = delete;
  Visit& operator=(const Visit&) = delete;
  /// Waits until none is left, at most until then; the count at that moment.
  static int await(ZOVClock::Steady deadline);
};

}  // namespace zov::hub
