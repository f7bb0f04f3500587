#pragma once
// ZOVTable and ZOVTableManager: what the first two classes of every table family do. A family is made of one
// .def file (tables/columns/<stem>.def) by define_table.inc: the row record zov_<stem>_data_t,
// zov_<stem>_manager, zov_<stem>_base; the third class, zov_<stem>_agent, holds the table's own logic and is
// written by hand.
//
// A request object belongs to the framework, which calls it from one thread at a time; rows and filters of a
// query are on that thread's stack, so that two queries of a table can run at once. Pushed rows come from any
// agent thread, under the manager's lock.

#include <cstdint>
#include <span>

#include "agent/retrieval.h"
#include "framework/table_manager.h"
#include "framework/tqbox.h"

/// How a column of a sample table is filled.
enum class ZOVColumnRead {
  Own,         ///< by the table's own code
  OriginNode,  ///< the server's subnode name
  ServerName,
  NodeName,        ///< the host
  SampleTime,      ///< in the framework's 16-character form
  Duration,        ///< seconds that the sample covers
  CapturePercent,  ///< of requests, as the server is told
  Value,           ///< getNumericData of the key
  Rate,
  Percent,
  String,
  JavaTime,  ///< a value in Java milliseconds, in the 16-character form; blank when there is none
  Digits,    ///< a value as decimal digits; blank when there is none
};

struct ZOVColumn {
  const char* name;  ///< lower case
  std::uint16_t offset;
  std::uint16_t width;
  ColumnInfo_Type type;
  ZOVColumnRead read;
  int key;
};

/// A table's line of tables.def.
struct ZOVTableFacts {
  const char* stem;
  const char* name;
  std::int32_t rowBytes;
  std::int32_t allocSize;
  const char* traceName;
  const char* enteredLine;
  const char* recordWord;
};

struct ZOVTableInfo {
  const ZOVTableFacts& facts;
  std::span<const ZOVColumn> columns;
  std::span<const int> sampleTypes;
  std::span<const char* const> filters;  ///< upper case
  const ZOVKeywordTableEntry* keywords;  ///< the sortable columns
};

#define ZOV_TABLE(stem, name, rowBytes, allocSize, traceName, enteredLine, recordWord)              \
  inline constexpr ZOVTableFacts zovTableFacts_##stem{#stem,     #name,       rowBytes,  allocSize, \
                                                      traceName, enteredLine, recordWord};
#include "tables/tables.def"

/// What GetColumnInfo answers for an index that is out of range.
inline constexpr int ZOVTableBadColumnIndex = 0x21060007;
/// The widest row of all tables, in bytes.
inline constexpr std::size_t ZOVTableWidestRow = 1212;

class ZOVTable : public tqbox {
 public:
  ZOVTable(RequestDetail* detail, ContextInfo* context, TableManager* manager, const ZOVTableInfo& info);

  void PrintSelf() override;
  int NumColumns() override { return static_cast<int>(_info.columns.size()); }
  /// An index outside 0 to NumColumns() gives ZOVTableBadColumnIndex; NumColumns() itself gives 0 and fills
  /// nothing.
  int GetColumnInfo(ColumnInfo* info, int index) override;
  int ColumnIsException(const char* row, const char* column, _IntfOper op, const char* value) override;
  /// Inserts the rows that meet the request's thresholds, until one is refused; the last answer of InsertRow.
  int addRows(const char* rows, int count);
  const ZOVTableInfo& info() const { return _info; }

 protected:
  const ZOVTableInfo& _info;
};

/// Pads or cuts `text` into a text column of `width` bytes.
void zovFillText(char* column, std::size_t width, std::string_view text);
/// The same for UTF-8: no character is split.
void zovFillUtf8(char* column, std::size_t width, std::string_view text);

class ZOVTableManager : public TableManager {
 public:
  ZOVTableManager(const ZOVTableInfo& info) : TableManager("ZOV", info.facts.name), _info(info) {}
  /// Pushes rows through every open request of the table. 0, or the last code of a Dispatch that failed.
  int addRowsToEvent(const char* rows, int count);

 protected:
  const ZOVTableInfo& _info;
};
