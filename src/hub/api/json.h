#pragma once
// JSON as the hub writes it: always valid UTF-8, whatever the rows hold.

#include <rapidjson/writer.h>

#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>

#include "hub/api/answer.h"
#include "hub/core/node_report.h"

namespace zov::hub {

/// Lets RapidJSON write to the end of a string.
class JsonStream {
 public:
  using Ch = char;
  explicit JsonStream(std::string& text) : _text(text) {}
  void Put(char c) { _text.push_back(c); }
  void Flush() {}

 private:
  std::string& _text;
};

using JsonWriter = rapidjson::Writer<JsonStream>;

/// Appends a text, with U+FFFD for each byte that is not UTF-8.
void appendUtf8(std::string& target, std::string_view text);
/// Writes a text. Bytes that are not UTF-8 go out as appendUtf8 has them.
void writeText(JsonWriter& writer, std::string_view text);
void writeKey(JsonWriter& writer, std::string_view key);
void writeMember(JsonWriter& writer, std::string_view key, std::string_view text);
/// An object of texts.
void writeObject(JsonWriter& writer,
                 std::initializer_list<std::pair<std::string_view, std::string_view>> members);
/// Writes one row as an object. A text ends at its first zero byte, and its trailing blanks are left out.
void writeRow(JsonWriter& writer, const Table& table, const char* row);
/// Writes the member "nodes" of an answer of rows: the subnodes that gave none.
void writeNodes(JsonWriter& writer, const std::vector<NodeReport>& nodes);

/// An answer whose body is what `write`, given a JsonWriter, writes: one line.
template <class Write>
Answer jsonAnswer(Write&& write) {
  Answer answer;
  JsonStream stream(answer.body);
  JsonWriter writer(stream);
  write(writer);
  answer.body += '\n';
  return answer;
}

}  // namespace zov::hub
