#include "tables/event_row.h"

#include <algorithm>

#include "diag/utf8_handler.h"
#include "platform/trace.h"

static DGT1_Unit traceUnit("ZOVTEVNT");

ZOVEventQuery::ZOVEventQuery(ZOVTable& table, ZOVAgent& agent)
    : _table(table),
      _agent(agent),
      _filters(table.info().filters),
      _entry(std::make_unique<ZOVAgentFrameworkComponentTraceEntry>(table.info().facts.traceName)) {}

ZOVEventQuery::~ZOVEventQuery() {
  if (_entry != nullptr && _agent.saveComponentTraceEntry(_entry.get()) != 0) _entry.release();
}

const RWCString& ZOVEventQuery::readFilters() {
  DGT1_Printf(traceUnit, DGT1_STATE_ENTER, "%s", _table.info().facts.enteredLine);
  _agent.extractFilterInfo(_table, _filters.definitions(), _filters.size(), traceUnit.on(DGT1_STATE_ENTER),
                           _entry.get(), nullptr, nullptr);
  return _filters.text("ORIGINNODE");
}

void zovPadEventText(char* column, std::size_t width) {
  const auto length = static_cast<std::size_t>(std::find(column, column + width, '\0') - column);
  const std::string_view whole =
      ZOVUTF8Handler::truncated({column, length}, width, ZOVUTF8Handler::TruncateEnd);
  std::fill(column + whole.size(), column + width, ' ');
}
