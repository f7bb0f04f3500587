#include "hub/api/events.h"

#include <algorithm>

#include "framework/table_manager.h"
#include "hub/api/json.h"
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
  return call.parameters.empty() ? Registry::instance().tables() : tables;
}

std::shared_ptr<const std::string> EventWriter::write(const Table& table, const char* row) {
  const std::string_view bytes(row, table.rowBytes);
  const MutexLock guard(_mutex);
  if (_table == &table && _row == bytes) return _text;
  std::string text = "event: " + table.manager->table() + "\ndata: ";
  JsonStream stream(text);
  JsonWriter writer(stream);
  writeRow(writer, table, row);
  text += "\n\n";
  _table = &table;
  _row = bytes;
  return _text = std::make_shared<const std::string>(std::move(text));
}

}  // namespace zov::hub
