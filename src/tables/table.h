#pragma once
// Table and TableManagerBase: what the first two classes of every table family do. A family is made of one
// .def file (columns/<stem>.def) by families.h: the row record zov_<stem>_data_t, zov_<stem>_manager,
// zov_<stem>_base; the third class, zov_<stem>_agent, holds the table's own logic. It is written by hand
// where there is some.
//
// A request object belongs to the framework, which calls it from one thread at a time; rows and filters of a
// query are on that thread's stack, so that two queries of a table can run at once. Pushed rows come from any
// agent thread, under the manager's lock.

#include <algorithm>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "framework/table_manager.h"
#include "framework/tqbox.h"
#include "samples/keys.h"
#include "tables/filters.h"

namespace zov {

/// Where a column's value comes from.
enum class ColumnSource {
  // Of a key of the sample.
  Value,  ///< getNumericData
  Rate,
  Percent,
  String,
  JavaTime,   ///< a value in Java milliseconds, in the framework's 16-character form
  Digits,     ///< a value as decimal digits
  ShortName,  ///< a text, as short_names.h shortens it
  // Of the sample or its server, without a key.
  OriginNode,  ///< the server's subnode name
  ServerName,
  NodeName,             ///< the host
  SampleTime,           ///< in the framework's 16-character form
  Duration,             ///< seconds that the sample covers
  CapturePercent,       ///< of requests, as the collector says
  StatisticsCollected,  ///< 1 when the server's own statistics are collected, else 0
  RowNumber,            ///< counts the rows of the query, from 1
  // Of the table's own code.
  Own,
};

/// What a column holds that has no value.
enum class NullValue { Never, MinusOne, Blank };

/// How a column shows the value that its meaning speaks of.
enum class ColumnForm {
  Plain,
  PerSecond,
  Mean,   ///< of one of what the related key counts
  Share,  ///< of the related key's value
  Zero,   ///< always, since the table's samples have no such value
};

/// What a reader must know of a column to read it.
struct ColumnMeaning {
  Unit unit;     ///< of what the column shows, so Percent for a share; of a rate, without the second
  int decimals;  ///< how many digits of an integer stand behind the point
  NullValue null;
  std::string_view text;  ///< a sentence
  ColumnForm form = ColumnForm::Plain;
  std::string_view readable = {};  ///< of a column without a key: its name for people
};

inline constexpr int NoKey = 0;

struct Column {
  const char* name;  ///< lower case
  std::uint16_t offset;
  std::uint16_t width;
  ColumnInfo_Type type;
  ColumnSource source;
  int key;            ///< NoKey, unless the source is of a key
  ColumnMeaning own;  ///< of an Own column; of others, columnMeaning tells
};

/// When the samples of a query are gathered and sorted before they become rows.
enum class Sorting {
  ByColumn,    ///< when the query names a column that can be sorted by
  ByRowLimit,  ///< when it has a row limit, and never without
  Never,       ///< the table has no columns to sort by
};

struct TableInfo {
  const char* stem;
  const char* name;
  std::int32_t rowBytes;
  std::int32_t allocSize;   ///< rows of a growth step
  const char* traceName;    ///< in the component trace
  const char* enteredLine;  ///< traced when a query begins
  const char* recordWord;   ///< names a row in the trace; empty when rows are not dumped
  std::span<const Column> columns;
  std::span<const ZOVSample::_SampleType> sampleTypes;  ///< errors are reported with the first
  std::span<const Filter> filters;
  const KeywordTableEntry* keywords;  ///< the sortable columns
  Sorting sorting;
  bool makesRowsOfSamples;  ///< else its rows come from elsewhere, and PARMA means nothing to it
  bool pushesEvents;
  ResourceAnchors (*makeAnchors)(const FilterValues&);  ///< the filters as anchors, to be asked for in turn
};

/// All tables, in the order in which they are registered.
std::span<const TableInfo* const> allTables();

/// Of any column of the table, at the decimals of the table's samples.
ColumnMeaning columnMeaning(const TableInfo& table, const Column& column);
/// Of all columns, for whoever reads rows.
std::vector<ColumnDescription> describeColumns(const TableInfo& table);

/// What GetColumnInfo answers for an index that is out of range.
inline constexpr int BadColumnIndex = 0x21060007;
/// Of all tables, in bytes.
inline constexpr std::size_t WidestRow = std::max({
#define ZOV_TABLE(sort, stem, name, rowBytes, ...) std::size_t{rowBytes},
#include "tables/tables.def"
});

class Table : public tqbox {
 public:
  Table(RequestDetail* detail, ContextInfo* context, ::TableManager* manager, const TableInfo& info);

  void PrintSelf() override;
  int NumColumns() override { return static_cast<int>(_info.columns.size()); }
  /// An index outside 0 to NumColumns() gives BadColumnIndex; NumColumns() itself gives 0 and fills nothing.
  int GetColumnInfo(ColumnInfo* info, int index) override;
  int ColumnIsException(const char* row, const char* column, _IntfOper op, const char* value) override;
  /// Inserts the rows that meet the request's thresholds, until one is refused; the last answer of InsertRow.
  int addRows(const char* rows, int count);
  const TableInfo& info() const { return _info; }

 protected:
  /// Tells the framework why the subnode gave no rows, if it gave none; `rc` is what its server answered.
  void reportSubnode(const char* subnode, ZOVReturnCode rc);

  const TableInfo& _info;
};

class TableManagerBase : public ::TableManager {
 public:
  using TableManager::TableManager;
  /// Pushes rows through every open request of the table. 0, or the last code of a Dispatch that failed.
  int addRowsToEvent(const char* rows, int count);

 protected:
  static QueryAbilities abilitiesOf(const TableInfo& info);
};

/// Pads or cuts `text` into a text column of `width` bytes.
void fillText(char* column, std::size_t width, std::string_view text);
/// The same for UTF-8: no character is split.
void fillUtf8(char* column, std::size_t width, std::string_view text);

}  // namespace zov
