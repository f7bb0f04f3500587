#pragma once
// The function preamble. ZOV_TRACE(level) opens every out-of-line function of substance; the file must have
// declared its `traceUnit`. With trace off it costs a load, a compare and a branch.

#include <cstddef>
#include <string_view>

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

/// The name of a function as trace and recovery frames show it, "Class::function", from the compiler's
/// __PRETTY_FUNCTION__. Unnamed namespaces are left out; a lambda goes by the function that it stands in.
template <std::size_t Size>
struct ZOVFunctionName {
  char text[Size] = {};
  // NOLINTNEXTLINE: implicit on purpose
  consteval ZOVFunctionName(const char (&pretty)[Size]) {
    std::string_view name(pretty, Size - 1);
    std::size_t begin = 0, end = 0, brackets = 0;
    for (; end < name.size(); ++end) {
      const char c = name[end];
      if (name.substr(end).starts_with("(anonymous namespace)::")) {
        end += 22, begin = end + 1;
      } else if (name.substr(end).starts_with("{anonymous}::")) {
        end += 12, begin = end + 1;
      } else if (c == '<') {
        ++brackets;
      } else if (c == '>') {
        --brackets;
      } else if (brackets == 0 && c == '(') {
        break;
      } else if (brackets == 0 && (c == ' ' || c == '*' || c == '&')) {
        begin = end + 1;
      }
    }
    for (std::size_t i = begin; i < end; ++i) text[i - begin] = name[i];
  }
};

/// Makes the function's name known to ZOV_PLACE and to the log, where ZOV_TRACE would be too much.
#define ZOV_FUNCTION static constexpr ZOVFunctionName zovFunction(__PRETTY_FUNCTION__)

/// Opens every out-of-line function of substance.
#define ZOV_TRACE(level) \
  ZOV_FUNCTION;          \
  const ZOVTraceScope zovTraceScope(traceUnit, ZOVTraceLevel::level, zovFunction.text, __LINE__)

/// The present place, as guarded() and the log take it. After ZOV_TRACE or ZOV_FUNCTION.
#define ZOV_PLACE traceUnit.tag(), zovFunction.text
