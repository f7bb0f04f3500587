#include "tables/event_row.h"

#include <algorithm>

#include "diag/utf8_handler.h"
#include "platform/trace.h"

static DGT1_Unit traceUnit("ZOVTEVNT");

namespace zov {

EventQuery::EventQuery(Table& table, TableServices& services)
    : _table(table),
      _services(services),
      _filters(table.info().filters),
      _entry(std::make_unique<ZOVAgentFrameworkComponentTraceEntry>(table.info().traceName)) {}

const RWCString& EventQuery::readFilters() {
  DGT1_Printf(traceUnit, DGT1_STATE_ENTER, "%s", _table.info().enteredLine);
  zov::readFilters(_table, _filters.targets(), traceUnit.on(DGT1_STATE_ENTER), _entry.get(), nullptr,
                   nullptr);
  return _filters.value("ORIGINNODE");
}

void padEventText(char* column, std::size_t width) {
  const auto length = static_cast<std::size_t>(std::find(column, column + width, '\0') - column);
  const std::string_view whole =
      ZOVUTF8Handler::truncated({column, length}, width, ZOVUTF8Handler::TruncateEnd);
  std::fill(column + whole.size(), column + width, ' ');
}

}  // namespace zov
