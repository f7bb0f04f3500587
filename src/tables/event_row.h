#pragma once
// What the tables of events and of server status share: reading the few filters that they have, and texts
// that are copied into columns.

#include <memory>

#include "agent/agent.h"
#include "diag/component_trace.h"
#include "tables/sample_table.h"

/// The filters of a query, and its entry of the component trace, which goes to the trace at the query's end.
class ZOVEventQuery {
 public:
  ZOVEventQuery(ZOVTable& table, ZOVAgent& agent);
  ~ZOVEventQuery();
  ZOVEventQuery(const ZOVEventQuery&) = delete;
  ZOVEventQuery& operator=(const ZOVEventQuery&) = delete;

  /// Reads the filters and answers the origin node's; empty without.
  const RWCString& readFilters();
  const RWCString& text(std::string_view column) const { return _filters.text(column); }

 private:
  ZOVTable& _table;
  ZOVAgent& _agent;
  ZOVFilterValues _filters;
  std::unique_ptr<ZOVAgentFrameworkComponentTraceEntry> _entry;
};

/// Blanks the zero bytes that copyString leaves behind a text; a character that was cut goes too.
void zovPadEventText(char* column, std::size_t width);

/// Copies a text of an event into a column, blank padded.
#define ZOV_COPY_EVENT_TEXT(sample, copy, column) \
  do {                                            \
    (sample)->copy(column, int{sizeof(column)});  \
    zovPadEventText(column, sizeof(column));      \
  } while (false)
