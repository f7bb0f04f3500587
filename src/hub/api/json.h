#pragma once
// JSON as the hub writes it: always valid UTF-8, whatever the rows hold.

#include <rapidjson/writer.h>

#include <string>
#include <string_view>

struct ZOVHubTable;

/// Lets RapidJSON write to the end of a string.
class ZOVHubJsonStream {
 public:
  using Ch = char;
  explicit ZOVHubJsonStream(std::string& text) : _text(text) {}
  void Put(char c) { _text.push_back(c); }
  void Flush() {}

 private:
  std::string& _text;
};

using ZOVHubJsonWriter = rapidjson::Writer<ZOVHubJsonStream>;

/// Writes a text. Bytes that are not UTF-8 become U+FFFD, one for each.
void zovHubWriteText(ZOVHubJsonWriter& writer, std::string_view text);
void zovHubWriteKey(ZOVHubJsonWriter& writer, std::string_view key);
/// Writes one row as an object. A text ends at its first zero byte, and its trailing blanks are left out.
void zovHubWriteRow(ZOVHubJsonWriter& writer, const ZOVHubTable& table, const char* row);
/// {"error": sentence}
std::string zovHubErrorBody(std::string_view sentence);
