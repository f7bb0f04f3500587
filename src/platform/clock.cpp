#include "platform/clock.h"

#include <algorithm>
#include <atomic>
#include <chrono>

namespace {
constinit std::atomic<std::int64_t (*)()> replacedSource{nullptr};
}  // namespace

std::uint32_t ZOVClock::seconds() {
  return static_cast<std::uint32_t>(std::clamp<std::int64_t>(microseconds() / 1'000'000, 0, UINT32_MAX));
}

std::int64_t ZOVClock::microseconds() {
  if (const auto source = replacedSource.load(std::memory_order_acquire)) return source();
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::microseconds>(now).count();
}

void ZOVClock::setSource(std::int64_t (*source)()) {
  replacedSource.store(source, std::memory_order_release);
}
