#pragma once
// StepClock: while it stands, wall time and steady time stand still but for its steps.

#include <atomic>
#include <cstdint>

#include "platform/clock.h"

class StepClock {
 public:
  StepClock() {
    wallSeconds = 1'700'000'000;
    steadySeconds = 100'000'000;
    ZOVClock::setSource(wall, steady);
  }
  ~StepClock() { ZOVClock::setSource(nullptr); }
  StepClock(const StepClock&) = delete;
  StepClock& operator=(const StepClock&) = delete;

  /// Time passes.
  static void step(std::int64_t seconds) {
    wallSeconds += seconds;
    steadySeconds += seconds;
  }
  /// The wall clock is set.
  static void setWallBy(std::int64_t seconds) { wallSeconds += seconds; }

 private:
  static std::int64_t wall() { return wallSeconds * 1'000'000; }
  static std::int64_t steady() { return steadySeconds * 1'000'000; }
  static inline std::atomic<std::int64_t> wallSeconds{0};
  static inline std::atomic<std::int64_t> steadySeconds{0};
};
