#pragma once
// The one clock behind every reading of time, so that tests can step it. Wall time is what people and peers
// see: it may be set back or forth. Steady time goes forward only: every schedule, age and time-out is
// reckoned in it. Any thread may call.

#include <chrono>
#include <cstdint>
#include <ctime>

class ZOVClock {
 public:
  /// A moment of steady time. Only the difference of two means something.
  using Steady = std::chrono::steady_clock::time_point;

  /// Wall time: seconds since 1970-01-01 UTC, in the 32 bits that times have everywhere in the agent.
  static std::uint32_t seconds();
  /// Wall time: microseconds since 1970-01-01 UTC.
  static std::int64_t microseconds();
  static Steady steady();
  /// Steady time that may lag some milliseconds behind, for a fraction of the cost.
  static Steady coarseSteady();
  /// Seconds from `then` to now, rounded down. For schedules and ages in whole seconds.
  static std::int64_t secondsSince(Steady then) {
    return std::chrono::floor<std::chrono::seconds>(steady() - then).count();
  }

  /// The moment so far ahead, for pthread_cond_timedwait on CLOCK_MONOTONIC. Is the system's, also while a
  /// source is set.
  static timespec deadlineIn(std::chrono::microseconds wait);
  /// Blocks the thread; a signal does not cut it short.
  static void sleepFor(std::chrono::seconds time);

  /// Replaces the sources of wall time (microseconds) and of steady time (microseconds since a moment of its
  /// own); null restores the system's. For tests.
  static void setSource(std::int64_t (*wall)(), std::int64_t (*steady)() = nullptr);
};
