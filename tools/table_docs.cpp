// Writes docs/tables.md to standard output, from what the tables say of themselves.

#include <cstdio>
#include <string>

#include "tables/families.h"

namespace {

std::string kindOf(const zov::Column& column) {
  switch (column.type) {
    case ColumnInfo_Integer:
      return "int";
    case ColumnInfo_SingleByteText:
      return "text";
    default:
      return "utf8";
  }
}

std::string unitOf(const zov::ColumnMeaning& meaning) {
  const std::string unit(zov::nameOf(meaning.unit));
  if (meaning.form != zov::ColumnForm::PerSecond) return unit;
  return unit.empty() ? "1/s" : unit + "/s";
}

std::string nullOf(zov::NullValue null) {
  switch (null) {
    case zov::NullValue::Never:
      return "";
    case zov::NullValue::MinusOne:
      return "-1";
    case zov::NullValue::Blank:
      return "blank";
  }
  return "";
}

std::string listOf(const std::string& label, const std::string& items) {
  return items.empty() ? "" : label + ": " + items + ".\n";
}

void print(const zov::TableInfo& table) {
  std::string samples, filters;
  for (const ZOVSample::_SampleType type : table.sampleTypes) {
    samples += (samples.empty() ? "" : ", ") + std::to_string(type) + " (" +
               ZOVSample::getSampleTypeInEnglish(type) + ")";
  }
  for (const zov::Filter& filter : table.filters) {
    filters += (filters.empty() ? "`" : ", `") + std::string(filter.column) + "`";
    if (filter.isNumber) filters += " (any: " + std::to_string(filter.wildcard) + ")";
  }
  std::printf("\n## %s\n\nA row has %d bytes.\n", table.name, table.rowBytes);
  std::fputs(listOf("Samples", samples).c_str(), stdout);
  std::fputs(listOf("Filters", filters).c_str(), stdout);
  std::fputs(
      "\n| Column | Readable | Offset | Width | Kind | Key | Meaning | Unit | Decimals | None is |\n"
      "|---|---|---|---|---|---|---|---|---|---|\n",
      stdout);
  const std::vector<zov::ColumnDescription> descriptions = zov::describeColumns(table);
  for (std::size_t i = 0; i < table.columns.size(); ++i) {
    const zov::Column& column = table.columns[i];
    const zov::ColumnMeaning meaning = zov::columnMeaning(table, column);
    const bool hasKey = column.key != zov::NoKey;
    const std::string name = hasKey ? "`" + std::string(zov::keyInfo(column.key).name) + "`" : "";
    const std::string decimals = meaning.decimals == 0 ? "" : std::to_string(meaning.decimals);
    std::printf("| `%s` | `%s` | %u | %u | %s | %s | %s | %s | %s | %s |\n", column.name,
                descriptions[i].readable.c_str(), column.offset, column.width, kindOf(column).c_str(),
                name.c_str(), descriptions[i].meaning.c_str(), unitOf(meaning).c_str(), decimals.c_str(),
                nullOf(meaning.null).c_str());
  }
}

}  // namespace

int main() {
  std::puts(
      "# Tables\n\n"
      "Made by `tools/table_docs` from `src/tables/columns/*.def` and `src/samples/keys.def`; change those, "
      "and run\n"
      "`build/release/bin/table_docs > docs/tables.md`.\n\n"
      "A column is shown, and asked for, by either name: `names=readable` of a query shows the readable "
      "ones, "
      "with null for\n"
      "none, decimals behind a point, and times in UTC; what follows here is said of the rows without "
      "that.\n\n"
      "Integers are signed 32 bits; texts are blank padded, and `utf8` is never cut in the middle of a "
      "character.\n"
      "*Decimals* says how many digits of an integer stand behind the point: with three, 1500 is 1.5. *None "
      "is* says what\n"
      "the column holds when there is no value; where it says nothing, there always is one. A counter shows "
      "what happened\n"
      "since the last sample.\n\n"
      "A filter takes what has its value; one that is not given, an empty text, or the number *any* takes "
      "all. Which servers\n"
      "are asked is said by the nodes of the query, and in a query for history by `ORIGINNODE`. "
      "`SERVER_NAM`, "
      "and `PID` but\n"
      "in the tables of garbage collections, are compared with the rows, as are all columns that are not "
      "listed here.");
  for (const zov::TableInfo* table : zov::allTables()) print(*table);
}
