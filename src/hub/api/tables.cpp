#include "hub/api/tables.h"

#include "framework/filter.h"
#include "framework/table_manager.h"
#include "hub/api/json.h"
#include "hub/core/registry.h"

namespace zov::hub {
namespace {

const char* typeName(const Column& column) {
  if (column.type == ColumnInfo_Integer) return "int";
  return column.type == ColumnInfo_Utf8Text ? "utf8" : "text";
}

void writeDescription(JsonWriter& writer, const ColumnDescription& described) {
  writeMember(writer, "readable", described.readable);
  if (!described.unit.empty()) writeMember(writer, "unit", described.unit);
  writeMember(writer, "meaning", described.meaning);
  writeKey(writer, "decimals");
  writer.Int(described.decimals);
  if (described.none == ColumnDescription::None::Never) return;
  writeKey(writer, "none");
  if (described.none == ColumnDescription::None::MinusOne) {
    writer.Int(-1);
  } else {
    writer.String("");
  }
}

void writeTable(JsonWriter& writer, const Table& table) {
  writer.StartObject();
  writeMember(writer, "table", table.manager->table());
  writeMember(writer, "application", table.manager->application());
  writeKey(writer, "row_bytes");
  writer.Uint64(table.rowBytes);
  writeKey(writer, "events");
  writer.Bool(table.abilities.pushesEvents);
  writeKey(writer, "columns");
  writer.StartArray();
  for (const Column& column : table.columns) {
    writer.StartObject();
    writeMember(writer, "name", column.name);
    writeKey(writer, "offset");
    writer.Uint(column.offset);
    writeKey(writer, "size");
    writer.Uint(column.size);
    writeMember(writer, "type", typeName(column));
    writeKey(writer, "sortable");
    writer.Bool(column.sortable);
    writeDescription(writer, column.described);
    writer.EndObject();
  }
  writer.EndArray();
  writer.EndObject();
}

}  // namespace

Reply listTables(const Call&) {
  return jsonAnswer([](JsonWriter& writer) {
    writer.StartArray();
    for (const auto& table : Registry::instance().tables()) writeTable(writer, *table);
    writer.EndArray();
  });
}

Reply describeTable(const Call& call) {
  const auto table = Registry::instance().table(call.subject);
  if (table == nullptr) return noSuchTable(call.subject);
  return jsonAnswer([&](JsonWriter& writer) { writeTable(writer, *table); });
}

Answer noSuchTable(const std::string& name) {
  std::string sentence = "there is no table " + quoted(name) + "; the tables are";
  for (const TableManager* manager : Registry::instance().managers()) sentence += ' ' + manager->table();
  return Answer::error(404, sentence);
}

}  // namespace zov::hub
