#pragma once
// The forms in which rows go out.

#include <string>
#include <vector>

#include "hub/api/json.h"
#include "hub/core/table.h"

namespace zov::hub {

/// How a query wants its rows. Any thread.
struct RowForm {
  bool readable = false;  ///< readable names, null for no value, decimals behind a point, times in UTC
  bool csv = false;       ///< CSV (RFC 4180), which has no place for nodes that gave no rows; else JSON

  const char* contentType() const;
  /// What stands before the first row, between two, and behind the last.
  std::string head(const Table& table) const;
  const char* separator() const { return csv ? "" : ","; }
  std::string tail(const std::vector<NodeReport>& nodes) const;
};

void writeReadableRow(JsonWriter& writer, const Table& table, const char* row);
/// A whole line.
void appendCsvRow(std::string& text, const Table& table, const char* row, bool readable);

/// One field of a row as a reader of readable names sees it.
struct ReadableValue {
  enum class Kind { Null, Number, Text } kind = Kind::Null;
  std::string made = {};       ///< a number, or a time
  std::string_view held = {};  ///< a text, in the row

  static ReadableValue of(const Column& column, const char* row);
  std::string_view text() const { return made.empty() ? held : made; }
};

/// The text of a column: to its first zero byte, without trailing blanks.
std::string_view textOf(const Column& column, const char* row);
std::int32_t numberOf(const Column& column, const char* row);
/// A column of either kind that holds what stands for no value.
bool hasNoValue(const Column& column, const char* row);

}  // namespace zov::hub
