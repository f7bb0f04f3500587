// Writes docs/tables.md to standard output, from what the tables say of themselves.

#include <cstdio>
#include <string>

#include "samples/sample.h"
#include "tables/table.h"
#include "tables/table_inits.h"

namespace {

std::string kindOf(const ZOVColumn& column) {
  switch (column.type) {
    case ColumnInfo_Integer:
      return "int";
    case ColumnInfo_SingleByteText:
      return "text";
    default:
      return "utf8";
  }
}

std::string sourceOf(const ZOVColumn& column) {
  const std::string key = "key " + std::to_string(column.key);
  switch (column.read) {
    case ZOVColumnRead::OriginNode:
      return "the server's subnode";
    case ZOVColumnRead::ServerName:
      return "the server's name";
    case ZOVColumnRead::NodeName:
      return "the host's short name";
    case ZOVColumnRead::SampleTime:
      return "time of the sample, CYYMMDDHHMMSSmmm";
    case ZOVColumnRead::Duration:
      return "seconds that the sample covers";
    case ZOVColumnRead::CapturePercent:
      return "percent of requests captured";
    case ZOVColumnRead::Value:
      return key;
    case ZOVColumnRead::Rate:
      return key + ", per second";
    case ZOVColumnRead::Percent:
      return key + ", share or average";
    case ZOVColumnRead::String:
      return key;
    case ZOVColumnRead::JavaTime:
      return key + ", as CYYMMDDHHMMSSmmm";
    case ZOVColumnRead::Digits:
      return key + ", as digits";
    case ZOVColumnRead::Own:
      break;
  }
  return "the table's own";
}

std::string listOf(const std::string& label, const std::string& items) {
  return items.empty() ? "" : label + ": " + items + ".\n";
}

void print(const ZOVTableInfo& table) {
  std::string samples, filters;
  for (const int type : table.sampleTypes) {
    const std::string name = ZOVSample::getSampleTypeInEnglish(static_cast<ZOVSample::_SampleType>(type));
    samples += (samples.empty() ? "" : ", ") + std::to_string(type) + " (" + name + ")";
  }
  for (const char* filter : table.filters)
    filters += (filters.empty() ? "`" : ", `") + std::string(filter) + "`";
  std::printf("\n## %s\n\nA row has %d bytes.\n", table.facts.name, table.facts.rowBytes);
  std::fputs(listOf("Samples", samples).c_str(), stdout);
  std::fputs(listOf("Filters", filters).c_str(), stdout);
  std::fputs("\n| Column | Offset | Width | Kind | From |\n|---|---|---|---|---|\n", stdout);
  for (const ZOVColumn& column : table.columns) {
    std::printf("| `%s` | %u | %u | %s | %s |\n", column.name, column.offset, column.width,
                kindOf(column).c_str(), sourceOf(column).c_str());
  }
}

}  // namespace

int main() {
  std::puts(
      "# Tables\n\n"
      "Made by `tools/table_docs` from `src/tables/columns/*.def`; change those, and run\n"
      "`build/release/bin/table_docs > docs/tables.md`.\n\n"
      "Integers are signed 32 bits, and -1 says that there is no value. Texts are blank padded; `utf8` is "
      "never cut in\n"
      "the middle of a character. A counter shows what happened since the last sample. Scaled values have "
      "three digits\n"
      "behind the point: 1500 is 1.5.");
#define ZOV_TABLE(stem, ...) print(zov_##stem##_table());
#include "tables/tables.def"
}
