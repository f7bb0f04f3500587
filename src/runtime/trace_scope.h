#pragma once
// The function preamble. ZOV_TRACE(level, "Class::function") opens every out-of-line function of substance;
// the file must have declared its `traceUnit`. With trace off it costs a load, a compare and a branch.

#include "platform/trace.h"

/// Which bit of the internal trace mask covers a function.
enum class ZOVTraceLevel : std::uint32_t {
  Public = 0x200,
  Restricted = 0x400,
  Private = 0x800,
  Minor = 0x1000
};

class ZOVTraceScope {
 public:
  ZOVTraceScope(const DGT1_Unit& unit, ZOVTraceLevel level, const char* function, int line) {
    if (DGT1_PreambleMask.load(std::memory_order_relaxed) != 0) [[unlikely]] {
      enter(unit, level, function, line);
    }
  }
  ~ZOVTraceScope() {
    if (_unit != nullptr) [[unlikely]] {
      leave();
    }
  }
  ZOVTraceScope(const ZOVTraceScope&) = delete;
  ZOVTraceScope& operator=(const ZOVTraceScope&) = delete;

 private:
  void enter(const DGT1_Unit& unit, ZOVTraceLevel level, const char* function, int line);
  void leave();

  const DGT1_Unit* _unit = nullptr;  // set when entered
  const char* _function = nullptr;
  int _line = 0;
  ZOVTraceLevel _level = ZOVTraceLevel::Public;
};

#define ZOV_TRACE(level, function) \
  const ZOVTraceScope zovTraceScope(traceUnit, ZOVTraceLevel::level, function, __LINE__)
