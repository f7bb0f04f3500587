#include "platform/clock.h"

#include <algorithm>
#include <atomic>
#include <cerrno>

namespace {
using std::chrono::microseconds;
using Source = std::int64_t (*)();
constinit std::atomic<Source> wallSource{nullptr};
constinit std::atomic<Source> steadySource{nullptr};
}  // namespace

std::uint32_t ZOVClock::seconds() {
  const auto source = wallSource.load(std::memory_order_acquire);
  // time() reads the coarse clock, for a fraction of what the fine one costs.
  const std::int64_t now = source ? source() / 1'000'000 : static_cast<std::int64_t>(std::time(nullptr));
  return static_cast<std::uint32_t>(std::clamp<std::int64_t>(now, 0, UINT32_MAX));
}

std::int64_t ZOVClock::microseconds() {
  if (const auto source = wallSource.load(std::memory_order_acquire)) return source();
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::microseconds>(now).count();
}

ZOVClock::Steady ZOVClock::steady() {
  if (const auto source = steadySource.load(std::memory_order_acquire)) {
    return Steady(std::chrono::microseconds(source()));
  }
  return std::chrono::steady_clock::now();
}

ZOVClock::Steady ZOVClock::coarseSteady() {
  if (steadySource.load(std::memory_order_acquire)) return steady();
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
  return Steady(std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec));
}

timespec ZOVClock::deadlineIn(std::chrono::microseconds wait) {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  const auto sum = std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec) + wait;
  const auto whole = std::chrono::floor<std::chrono::seconds>(sum);
  return {.tv_sec = whole.count(), .tv_nsec = std::chrono::nanoseconds(sum - whole).count()};
}

void ZOVClock::sleepFor(std::chrono::seconds time) {
  timespec left{.tv_sec = time.count(), .tv_nsec = 0};
  while (clock_nanosleep(CLOCK_MONOTONIC, 0, &left, &left) == EINTR) {
  }
}

void ZOVClock::setSource(std::int64_t (*wall)(), std::int64_t (*steady)()) {
  wallSource.store(wall, std::memory_order_release);
  steadySource.store(steady, std::memory_order_release);
}
