#pragma once
// StepClock: while it stands, wall time and steady time stand still but for its steps, which move both.

#include <atomic>
#include <cstdint>

#include "platform/clock.h"

class StepClock {
 public:
  StepClock() {
    now = 1'700'000'000;
    ZOVClock::setSource(wall, steady);
  }
  ~StepClock() { ZOVClock::setSource(nullptr); }
  StepClock(const StepClock&) = delete;
  StepClock& operator=(const StepClock&) = delete;

  static void step(std::int64_t seconds) { now += seconds; }
  static inline std::atomic<std::int64_t> now{0};  ///< seconds

 private:
  static std::int64_t wall() { return now * 1'000'000; }
  /// Another beginning, so that a mix of the two does not go unseen.
  static std::int64_t steady() { return (now - 1'600'000'000) * 1'000'000; }
};
