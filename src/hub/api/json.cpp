#include "hub/api/json.h"

#include "framework/filter.h"
#include "hub/api/row_form.h"

namespace zov::hub {
namespace {

/// Bytes of the well-formed character at the start of `text`, or 0 when there is none.
std::size_t characterLength(std::string_view text) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned char first = byte(0);
  if (first < 0x80) return 1;
  if (first < 0xC2 || first > 0xF4) return 0;
  const std::size_t length = first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
  if (text.size() < length) return 0;
  // The second byte rules out overlong forms, surrogates and what lies beyond U+10FFFF.
  const unsigned low = first == 0xE0 ? 0xA0 : first == 0xF0 ? 0x90 : 0x80;
  const unsigned high = first == 0xED ? 0x9F : first == 0xF4 ? 0x8F : 0xBF;
  if (byte(1) < low || byte(1) > high) return 0;
  for (std::size_t i = 2; i < length; ++i) {
    if ((byte(i) & 0xC0) != 0x80) return 0;
  }
  return length;
}

/// Bytes of `text` from its start that are well formed.
std::size_t wellFormed(std::string_view text) {
  std::size_t end = 0;
  while (end < text.size()) {
    const std::size_t length = characterLength(text.substr(end));
    if (length == 0) break;
    end += length;
  }
  return end;
}

}  // namespace

void appendUtf8(std::string& target, std::string_view text) {
  while (!text.empty()) {
    const std::size_t good = wellFormed(text);
    target.append(text.substr(0, good));
    text.remove_prefix(good);
    if (text.empty()) return;
    target += "\xEF\xBF\xBD";
    text.remove_prefix(1);
  }
}

void writeText(JsonWriter& writer, std::string_view text) {
  std::string repaired;
  if (wellFormed(text) != text.size()) {
    appendUtf8(repaired, text);
    text = repaired;
  }
  writer.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
}

void writeKey(JsonWriter& writer, std::string_view key) {
  writer.Key(key.data(), static_cast<rapidjson::SizeType>(key.size()));
}

void writeMember(JsonWriter& writer, std::string_view key, std::string_view text) {
  writeKey(writer, key);
  writeText(writer, text);
}

void writeObject(JsonWriter& writer,
                 std::initializer_list<std::pair<std::string_view, std::string_view>> members) {
  writer.StartObject();
  for (const auto& [key, text] : members) writeMember(writer, key, text);
  writer.EndObject();
}

void writeRow(JsonWriter& writer, const Table& table, const char* row) {
  writer.StartObject();
  for (const Column& column : table.columns) {
    writeKey(writer, column.name);
    if (column.type == ColumnInfo_Integer) {
      writer.Int(numberOf(column, row));
    } else {
      writeText(writer, textOf(column, row));
    }
  }
  writer.EndObject();
}

void writeNodes(JsonWriter& writer, const std::vector<NodeReport>& nodes) {
  writeKey(writer, "nodes");
  writer.StartArray();
  for (const NodeReport& node : nodes) {
    writeObject(writer, {{"name", node.name}, {"status", node.status}, {"reason", node.reason}});
  }
  writer.EndArray();
}

}  // namespace zov::hub
