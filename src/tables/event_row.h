#pragma once
// What the tables of events and of server status share: reading the few filters that they have, and texts
// that are copied into columns.

#include <memory>

#include "diag/component_trace.h"
#include "tables/table.h"
#include "tables/table_services.h"

namespace zov {

/// The filters of a query, and its entry of the component trace, which goes to the trace at the query's end.
class EventQuery {
 public:
  EventQuery(Table& table, TableServices& services);
  ~EventQuery() { _services.saveTraceEntry(std::move(_entry)); }
  EventQuery(const EventQuery&) = delete;
  EventQuery& operator=(const EventQuery&) = delete;

  /// Reads the filters and answers the origin node's; empty without.
  const RWCString& readFilters();
  const RWCString& text(std::string_view column) const { return _filters.value(column); }

 private:
  Table& _table;
  TableServices& _services;
  FilterValues _filters;
  std::unique_ptr<ZOVAgentFrameworkComponentTraceEntry> _entry;
};

/// Blanks the zero bytes that copyString leaves behind a text; a character that was cut goes too.
void padEventText(char* column, std::size_t width);

/// Copies a text of an event into a column, blank padded.
template <class Event, std::size_t Width>
void copyEventText(const Event& event, void (Event::*copy)(char*, int) const, char (&column)[Width]) {
  (event.*copy)(column, int{Width});
  padEventText(column, Width);
}

}  // namespace zov
