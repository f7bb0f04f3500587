#include "hub/api/row_form.h"

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <optional>

#include "framework/filter.h"

namespace zov::hub {
namespace {

using None = ColumnDescription::None;

/// The decimal number of some digits, or nothing.
std::optional<int> digits(std::string_view text) {
  int value = 0;
  for (const char c : text) {
    if (c < '0' || c > '9') return std::nullopt;
    value = value * 10 + (c - '0');
  }
  return value;
}

/// "CYYMMDDHHMMSSmmm" of the agent's time zone as ISO 8601 in UTC; "" for what is no time.
std::string utcOf(std::string_view text) {
  constexpr std::size_t length = 16;
  if (text.size() != length || !digits(text.substr(0, 7)) || !digits(text.substr(7))) return "";
  const auto field = [&](std::size_t at, std::size_t size) { return *digits(text.substr(at, size)); };
  std::tm fields{};
  fields.tm_year = field(0, 3);
  fields.tm_mon = field(3, 2) - 1;
  fields.tm_mday = field(5, 2);
  fields.tm_hour = field(7, 2);
  fields.tm_min = field(9, 2);
  fields.tm_sec = field(11, 2);
  fields.tm_isdst = -1;
  if (fields.tm_mon < 0 || fields.tm_mday == 0) return "";
  const std::time_t time = std::mktime(&fields);
  if (time == -1 || gmtime_r(&time, &fields) == nullptr) return "";
  char utc[32];
  const std::size_t end = std::strftime(utc, sizeof utc, "%Y-%m-%dT%H:%M:%S", &fields);
  return std::string(utc, end).append(".").append(text.substr(13)).append("Z");
}

std::string withDecimals(std::int32_t number, int decimals) {
  std::string text = std::to_string(std::abs(static_cast<long long>(number)));
  if (decimals > 0) {
    const auto behind = static_cast<std::size_t>(decimals);
    if (text.size() <= behind) text.insert(0, behind + 1 - text.size(), '0');
    text.insert(text.size() - behind, 1, '.');
  }
  return number < 0 ? "-" + text : text;
}

const std::string& nameOf(const Column& column, bool readable) {
  return readable ? column.described.readable : column.name;
}

void appendField(std::string& line, std::string_view text) {
  const bool isQuoted = text.find_first_of(",\"\r\n") != std::string_view::npos;
  if (isQuoted) line += '"';
  for (std::size_t end; (end = text.find('"')) != std::string_view::npos; text.remove_prefix(end + 1)) {
    appendUtf8(line, text.substr(0, end));
    line += "\"\"";
  }
  appendUtf8(line, text);
  if (isQuoted) line += '"';
}

}  // namespace

std::string_view textOf(const Column& column, const char* row) {
  std::string_view text(row + column.offset, strnlen(row + column.offset, column.size));
  while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
  return text;
}

std::int32_t numberOf(const Column& column, const char* row) {
  std::int32_t number;
  std::memcpy(&number, row + column.offset, sizeof number);
  return number;
}

bool hasNoValue(const Column& column, const char* row) {
  switch (column.described.none) {
    case None::MinusOne:
      return column.type == ColumnInfo_Integer && numberOf(column, row) == -1;
    case None::Empty:
      return column.type != ColumnInfo_Integer && textOf(column, row).empty();
    default:
      return false;
  }
}

ReadableValue ReadableValue::of(const Column& column, const char* row) {
  if (hasNoValue(column, row)) return {};
  if (column.type == ColumnInfo_Integer) {
    return {Kind::Number, withDecimals(numberOf(column, row), column.described.decimals)};
  }
  const std::string_view text = textOf(column, row);
  if (column.described.unit == "time") {
    std::string utc = utcOf(text);
    return utc.empty() ? ReadableValue{} : ReadableValue{Kind::Text, std::move(utc)};
  }
  return {column.described.isDigits ? Kind::Number : Kind::Text, "", text};
}

const char* RowForm::contentType() const {
  return csv ? "text/csv; charset=utf-8; header=present" : Answer().contentType;
}

std::string RowForm::head(const Table& table) const {
  std::string text;
  if (csv) {
    for (const Column& column : table.columns) {
      text.append(&column == &table.columns.front() ? "" : ",").append(nameOf(column, readable));
    }
    return text + "\r\n";
  }
  JsonStream stream(text);
  JsonWriter writer(stream);
  writer.StartObject();
  writeMember(writer, "table", table.manager->table());
  writeKey(writer, "rows");
  writer.StartArray();
  return text;
}

std::string RowForm::tail(const std::vector<NodeReport>& nodes) const {
  if (csv) return "";
  std::string text;
  JsonStream stream(text);
  JsonWriter writer(stream);
  writer.StartObject();
  writeNodes(writer, nodes);
  writer.EndObject();
  return "]," + text.substr(1) + '\n';
}

void appendCsvRow(std::string& text, const Table& table, const char* row, bool readable) {
  for (const Column& column : table.columns) {
    if (&column != &table.columns.front()) text += ',';
    if (readable) {
      appendField(text, ReadableValue::of(column, row).text());
    } else if (column.type == ColumnInfo_Integer) {
      text += std::to_string(numberOf(column, row));
    } else {
      appendField(text, textOf(column, row));
    }
  }
  text += "\r\n";
}

void writeReadableRow(JsonWriter& writer, const Table& table, const char* row) {
  writer.StartObject();
  for (const Column& column : table.columns) {
    writeKey(writer, column.described.readable);
    const ReadableValue value = ReadableValue::of(column, row);
    if (value.kind == ReadableValue::Kind::Null) {
      writer.Null();
    } else if (value.kind == ReadableValue::Kind::Text) {
      writeText(writer, value.text());
    } else {
      writer.RawValue(value.text().data(), value.text().size(), rapidjson::kNumberType);
    }
  }
  writer.EndObject();
}

}  // namespace zov::hub
