#pragma once
// The one clock behind every reading of time, so that tests can step it. Wall time for what people and peers
// see; steady time for intervals.

#include <cstdint>

class ZOVClock {
 public:
  /// Seconds since 1970-01-01 UTC, in the 32 bits that times have everywhere in the agent.
  static std::uint32_t seconds();
  /// Microseconds since 1970-01-01 UTC.
  static std::int64_t microseconds();
  /// Replaces the source of wall time (microseconds); null restores the system's clock. For tests.
  static void setSource(std::int64_t (*source)());
};
