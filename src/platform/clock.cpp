#include "platform/clock.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <ctime>

namespace {
constinit std::atomic<std::int64_t (*)()> replacedSource{nullptr};
}  // namespace

std::uint32_t ZOVClock::seconds() {
  const auto source = replacedSource.load(std::memory_order_acquire);
  // time() reads the coarse clock, for a fraction of what the fine one costs.
  const std::int64_t now = source ? source() / 1'000'000 : static_cast<std::int64_t>(std::time(nullptr));
  return static_cast<std::uint32_t>(std::clamp<std::int64_t>(now, 0, UINT32_MAX));
}

std::int64_t ZOVClock::microseconds() {
  if (const auto source = replacedSource.load(std::memory_order_acquire)) return source();
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::microseconds>(now).count();
}

void ZOVClock::setSource(std::int64_t (*source)()) {
  replacedSource.store(source, std::memory_order_release);
}
