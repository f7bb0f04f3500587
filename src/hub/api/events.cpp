#include "hub/api/events.h"

#include <algorithm>

#include "hub/api/tables.h"
#include "hub/core/registry.h"

namespace zov::hub {

Reply followEvents(const Call& call) {
  EventTables tables;
  for (const Parameter& parameter : call.parameters) {
    if (parameter.name != "table") {
      return Answer::error(400, "there is no parameter " + quoted(parameter.name) + "; accepted is table");
    }
    auto table = Registry::instance().table(parameter.value);
    if (table == nullptr) return noSuchTable(parameter.value);
    if (std::ranges::find(tables, table) == tables.end()) tables.push_back(std::move(table));
  }
  if (!call.parameters.empty()) return tables;
  tables = Registry::instance().tables();
  std::erase_if(tables, [](const auto& table) { return !table->abilities.pushesEvents; });
  return tables;
}

}  // namespace zov::hub
