#pragma once
// What the framework and a table tell each other about columns, filters and thresholds.

#include <cstdint>

/// Kinds of columns, as ColumnInfo::type has them.
enum ColumnInfo_Type : std::uint16_t {
  ColumnInfo_Integer = 3,         ///< signed, 4 bytes
  ColumnInfo_SingleByteText = 9,  ///< blank padded, no terminator
  ColumnInfo_Utf8Text = 12,       ///< blank padded, no terminator
};

/// One column of a table. The name is in lower case and belongs to the table, for the process's life.
struct ColumnInfo {
  const char* name = nullptr;
  std::uint16_t offset = 0;  ///< bytes from the start of the row
  std::uint16_t size = 0;    ///< bytes
  std::uint16_t type = 0;    ///< ColumnInfo_Type
};

/// Kinds of filter values, as QFL1_FILTERINFO::valueType has them.
enum QFL1_ValueType : std::int32_t {
  QFL1_TEXT = 452,
  QFL1_VARIABLE_TEXT = 460,
  QFL1_INTEGER = 496,
};

/// One filter of a request, as tqbox::GetFilterInfo gives it out. It belongs to the request and lives as
/// long.
struct QFL1_FILTERINFO {
  const char* columnName = nullptr;  ///< upper case, or "PARMA"; terminated
  std::int32_t valueType = 0;        ///< QFL1_ValueType
  std::int16_t valueLength = 0;      ///< bytes of a text value
  const void* value = nullptr;       ///< the text (not terminated), or a std::int32_t
};

/// Comparison of a column with a threshold; tables pass it through.
enum class _IntfOper : std::int32_t { Equal, NotEqual, Less, LessOrEqual, Greater, GreaterOrEqual };
