#include "tables/table.h"

#include <cctype>
#include <cstring>

#include "diag/utf8_handler.h"
#include "platform/trace.h"
#include "runtime/recovery.h"
#include "runtime/trace_scope.h"

static DGT1_Unit traceUnit("ZOVCTABL");

namespace zov {

namespace {

/// Whether `upper` is the upper-case form of `lower`.
bool isUpperCaseOf(const char* upper, const char* lower) {
  for (; *lower != '\0'; ++lower, ++upper) {
    if (*upper != std::toupper(static_cast<unsigned char>(*lower))) return false;
  }
  return *upper == '\0';
}

std::int32_t intAt(const char* row, const Column& column) {
  std::int32_t value;
  std::memcpy(&value, row + column.offset, sizeof value);
  return value;
}

}  // namespace

void fillText(char* column, std::size_t width, std::string_view text) {
  const std::size_t length = std::min(width, text.size());
  std::copy_n(text.data(), length, column);
  std::fill_n(column + length, width - length, ' ');
}

void fillUtf8(char* column, std::size_t width, std::string_view text) {
  fillText(column, width, ZOVUTF8Handler::truncated(text, width, ZOVUTF8Handler::TruncateEnd));
}

Table::Table(RequestDetail* detail, ContextInfo* context, ::TableManager* manager, const TableInfo& info)
    : tqbox(detail, context, manager), _info(info) {
  _rowSize = info.rowBytes;
  _data.allocSize = info.allocSize;
}

void Table::PrintSelf() {
  DGT1_Print(traceUnit, __LINE__, "zov_%s_base @%p <%u,%u>", _info.stem, static_cast<const void*>(this),
             handle.type, handle.id);
  DGT1_Print(traceUnit, __LINE__, "\t::appl=%s,table=%s,interval=%d,samptype=%d",
             requestDetail ? requestDetail->appl.c_str() : "",
             requestDetail ? requestDetail->table.c_str() : "", interval * 1000LL, samptype);
  DGT1_Print(traceUnit, __LINE__, "\t_data {");
  DGT1_Print(traceUnit, __LINE__, "\t\tcount=%d, allocated=%d, allocSize=%d", _data.count, _data.allocated,
             _data.allocSize);
  for (std::int32_t index = 0; index < _data.count; ++index) {
    const char* row = rowAt(index);
    if (row == nullptr) break;
    std::string line;
    for (const Column& column : _info.columns) {
      line += column.name;
      if (column.type == ColumnInfo_Integer) {
        line += "=" + std::to_string(intAt(row, column)) + " ";
      } else {
        line += "=\"" + std::string(row + column.offset, strnlen(row + column.offset, column.width)) + "\" ";
      }
    }
    DGT1_Print(traceUnit, __LINE__, "\t\t%s", line.c_str());
  }
  DGT1_Print(traceUnit, __LINE__, "\t\t}");
  DumpThresholds();
}

int Table::GetColumnInfo(ColumnInfo* info, int index) {
  if (index < 0 || index > NumColumns()) return BadColumnIndex;
  if (index == NumColumns()) return 0;
  const Column& column = _info.columns[static_cast<std::size_t>(index)];
  *info = {column.name, column.offset, column.width, column.type};
  return 0;
}

int Table::ColumnIsException(const char* row, const char* columnName, _IntfOper op, const char* value) {
  for (const Column& column : _info.columns) {
    if (!isUpperCaseOf(columnName, column.name)) continue;
    if (column.type == ColumnInfo_Integer)
      return IsException(op, static_cast<long>(intAt(row, column)), value);
    return IsException(op, row + column.offset, value, column.width);
  }
  return 0;
}

int Table::addRows(const char* rows, int count) {
  int result = 0;
  for (int index = 0; index < count && result == 0; ++index) {
    const char* row = rows + static_cast<std::ptrdiff_t>(index) * _info.rowBytes;
    if (!CheckForException(row)) continue;
    DGT1_Printf(traceUnit, DGT1_DETAIL, "Passing row %d to InsertRow().", index);
    result = InsertRow(row);
  }
  return result;
}

void Table::reportSubnode(const char* subnode, ZOVReturnCode rc) {
  if (*subnode == '\0' || subnodeRows() != 0) return;
  struct Word {
    unsigned int code;
    const char* text;
  };
  static constexpr Word words[] = {{ZOV_OK, "no_data"},
                                   {ZOV_NO_SUCH_RESOURCE, "no_data"},
                                   {ZOV_NO_HISTORY, "no_data"},
                                   {ZOV_NO_SUCH_SERVER, "unknown_node"},
                                   {ZOV_SERVER_NOT_ACTIVE, "disconnected"},
                                   {ZOV_SOCKET_NOT_CONNECTED, "disconnected"},
                                   {ZOV_SOCKET_CLOSED, "disconnected"},
                                   {ZOV_SOCKET_TERMINATED, "disconnected"}};
  const auto* const word = std::ranges::find(words, static_cast<unsigned int>(rc), &Word::code);
  ReportSubnode(subnode, word == std::end(words) ? "failed" : word->text,
                rc == ZOV_OK ? "No row, or none that passes the filters" : rc.getDescription());
}

QueryAbilities TableManagerBase::abilitiesOf(const TableInfo& info) {
  QueryAbilities abilities;
  for (const Filter& filter : info.filters) {
    abilities.filters.push_back({filter.column, filter.selects, filter.isNumber, filter.wildcard});
  }
  const bool sorts = info.sorting != Sorting::Never;
  for (const KeywordTableEntry* entry = info.keywords; sorts && entry->columnName != nullptr; ++entry) {
    abilities.sortable.emplace_back(entry->columnName);
  }
  abilities.limitsRows = info.makesRowsOfSamples;
  abilities.pushesEvents = info.pushesEvents;
  return abilities;
}

int TableManagerBase::addRowsToEvent(const char* rows, int count) {
  ZOV_TRACE(Public);
  int result = 0;
  OSL1_GetLock(&lock);
  auto failure = guarded(ZOV_PLACE, [&] {
    TqboxListIter open(&openRequests);
    while (tqbox* request = open.Next()) {
      request->UseHandle(request->handle.id);
      static_cast<Table*>(request)->addRows(rows, count);
      if (const int sent = request->Dispatch(); sent != 0) result = sent;
      request->_data.count = 0;
      RCL1_Drop(request->handle.id);
    }
  });
  OSL1_ReleaseLock(&lock);
  if (failure) zovRaise(*failure);
  return result;
}

}  // namespace zov
