#include "tables/filters.h"

#include <cstdlib>
#include <cstring>

#include "diag/component_trace.h"
#include "platform/trace.h"
#include "runtime/trace_scope.h"

static DGT1_Unit traceUnit("ZOVCFILT");

namespace zov {

namespace {

constexpr const char* SortFilterColumn = "PARMA";

bool isText(const QFL1_FILTERINFO& info) {
  return info.valueType == QFL1_TEXT || info.valueType == QFL1_VARIABLE_TEXT;
}

bool isSortFilter(const QFL1_FILTERINFO& info) {
  return RWCString(info.columnName).equals(SortFilterColumn, RWCString::ignoreCase);
}

RWCString textOf(const QFL1_FILTERINFO& info) {
  if (info.value == nullptr || info.valueLength <= 0) return {};
  return {static_cast<const char*>(info.value), static_cast<std::size_t>(info.valueLength)};
}

RWCString digitsOf(const QFL1_FILTERINFO& info) {
  std::int32_t value = 0;
  if (info.value != nullptr) std::memcpy(&value, info.value, sizeof value);
  return RWCString(std::to_string(value));
}

/// A filter as the trace shows it: the column's name, "=", the value.
RWCString describe(const QFL1_FILTERINFO& info) {
  RWCString text = RWCString(info.columnName) + "=";
  if (info.valueType == QFL1_TEXT) return text + textOf(info);
  if (info.valueType == QFL1_INTEGER) return text + digitsOf(info);
  return text;
}

}  // namespace

void readFilters(tqbox& request, std::span<const FilterTableDef> targets, bool dump,
                 ZOVAgentFrameworkComponentTraceEntry* entry, const KeywordTableEntry* keywords,
                 std::unique_ptr<ExtendedFilter>* sortFilter) {
  ZOV_TRACE(Public);
  if (request.samptype != tqbox::SampleWithFilters) return;
  QFL1_FILTERINFO* info = nullptr;
  while (request.GetFilterInfo(&info) == 0) {
    const RWCString value = isText(*info) ? textOf(*info) : digitsOf(*info);
    if (dump) {
      SnapHex(traceUnit, value.data(), value.length(),
              DGT1_FormatText("Contents of %s column follows", info->columnName).c_str());
    }
    if (isSortFilter(*info)) {
      if (sortFilter != nullptr && *sortFilter == nullptr) *sortFilter = readSortFilter(*info, keywords);
      continue;
    }
    if (!isText(*info) && info->valueType != QFL1_INTEGER) continue;
    for (const FilterTableDef& column : targets) {
      if (std::strcmp(column.columnName, info->columnName) != 0) continue;
      *column.target = value;
      if (entry != nullptr) {
        entry->newArgument(column.columnName, value.data(), static_cast<int>(value.length()));
      }
      break;
    }
  }
}

std::unique_ptr<ExtendedFilter> readSortFilter(const QFL1_FILTERINFO& info,
                                               const KeywordTableEntry* keywords) {
  ZOV_TRACE(Restricted);
  const RWCString value = textOf(info);
  RWCTokenizer next(value);
  if (!next(";").equals("TOP", RWCString::ignoreCase)) return nullptr;
  RWCString newSample, column, rows, order;
  const FilterTableDef names[] = {
      {&newSample, "NEW_SAMP"}, {&column, "COLUMN"}, {&rows, "ROWS"}, {&order, "ORDER"}};
  while (true) {
    const RWCString name = next(";");
    const RWCString argument = name.isNull() ? name : next(";");
    if (argument.isNull()) break;
    for (const FilterTableDef& known : names) {
      if (name.equals(known.columnName, RWCString::ignoreCase)) *known.target = argument;
    }
  }
  auto filter = std::make_unique<ExtendedFilter>();
  for (const KeywordTableEntry* row = keywords; row != nullptr && row->columnName != nullptr; ++row) {
    if (column.isNull() || !column.equals(row->columnName, RWCString::ignoreCase)) continue;
    filter->sortKeyword = row->keyword;
    filter->sortValueType = row->valueType;
    break;
  }
  if (order.equals("ASC", RWCString::ignoreCase)) filter->sortOrder = SortAscending;
  if (newSample == "1") filter->getNewSample = UseHeldSample;
  filter->rows = static_cast<unsigned int>(std::strtol(rows.data(), nullptr, 10));
  return filter;
}

void traceMissingResource(tqbox& request, const ZOVReturnCode& rc, const char* subnode,
                          ZOVSample::_SampleType type) {
  if (!traceUnit.on(DGT1_ERROR) || rc != ZOV_NO_SUCH_RESOURCE) return;
  const RWCString situation =
      RWCString(request.situationName, strnlen(request.situationName, sizeof request.situationName)).strip();
  RWCString filters[4];
  QFL1_FILTERINFO* info = nullptr;
  request.ResetFilterIndex();
  for (RWCString& text : filters) {
    if (request.GetFilterInfo(&info) != 0) break;
    if (!isSortFilter(*info)) text = describe(*info);
  }
  DGT1_Print(
      traceUnit, __LINE__,
      "Error getting samples.  RC=%i SampleType=%s SituationName=%s OriginNode=%s FilterInfo= %s %s %s %s",
      static_cast<unsigned int>(rc), ZOVSample::getSampleTypeInEnglish(type), situation.data(),
      subnode == nullptr ? "" : subnode, filters[0].data(), filters[1].data(), filters[2].data(),
      filters[3].data());
}

FilterValues::FilterValues(std::span<const Filter> filters) : _filters(filters) {
  for (std::size_t i = 0; i < filters.size(); ++i) _targets[i] = {&_values[i], filters[i].column};
}

const RWCString& FilterValues::value(std::string_view column, const char* /*wildcard*/) const {
  static const RWCString none;
  for (std::size_t i = 0; i < _filters.size(); ++i) {
    if (column == _filters[i].column) return _values[i];
  }
  return none;
}

int FilterValues::value(std::string_view column, int wildcard) const {
  const RWCString& text = value(column, "");
  return text.isNull() ? wildcard : static_cast<int>(std::strtol(text.data(), nullptr, 10));
}

}  // namespace zov
