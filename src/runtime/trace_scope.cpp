#include "runtime/trace_scope.h"

#include "runtime/environment.h"

namespace {
void record(const DGT1_Unit& unit, ZOVTraceLevel level, const char* function, int line,
            _ZOVInternalTraceType type) {
  if (unit.on(DGT1_FLOW)) DGT1_Print(unit, line, "%s %s", type == TraceEntry ? "Entry" : "Exit", function);
  ZOVAgentEnvironment* environment = ZOVAgentEnvironment::pEnvironment.load();
  if (environment == nullptr) return;
  if ((environment->getInternalTraceMask() & static_cast<std::uint32_t>(level)) == 0) return;
  environment->saveTraceEntry(unit.tag(), function, type, 0);
}
}  // namespace

void ZOVTraceScope::enter(const DGT1_Unit& unit, ZOVTraceLevel level, const char* function, int line) {
  _unit = &unit;
  _function = function;
  _line = line;
  _level = level;
  record(unit, level, function, line, TraceEntry);
}

void ZOVTraceScope::leave() {
  record(*_unit, _level, _function, _line, TraceExit);
}
