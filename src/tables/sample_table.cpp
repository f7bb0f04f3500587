#include "tables/sample_table.h"

#include <algorithm>
#include <cstring>

#include "platform/trace.h"
#include "runtime/recovery.h"
#include "runtime/time.h"
#include "runtime/trace_scope.h"
#include "server/application_server_base.h"
#include "tables/short_names.h"
#include "tables/table_services.h"

static DGT1_Unit traceUnit("ZOVCSTBL");

namespace zov {

namespace {

/// Rows that one entry of the component trace shows: it is a history of requests, not of data.
constexpr int TracedRows = 10;

void storeInt(unsigned char* row, const Column& column, long long value) {
  const auto low = static_cast<std::int32_t>(value);  // the columns are 32 bits wide, whatever the values are
  std::memcpy(row + column.offset, &low, sizeof low);
}

char* textAt(unsigned char* row, const Column& column) {
  return reinterpret_cast<char*>(row + column.offset);
}

void storeText(unsigned char* row, const Column& column, std::string_view text) {
  if (column.type == ColumnInfo_SingleByteText) {
    fillText(textAt(row, column), column.width, text);
  } else {
    fillUtf8(textAt(row, column), column.width, text);
  }
}

void storeJavaTime(unsigned char* row, const Column& column, long long milliseconds) {
  char text[17] = "";
  if (milliseconds > 0) {
    ZOVTime time;
    time.convertFromJavaTime(milliseconds);
    time.getCTTime(text, sizeof text);
  }
  storeText(row, column, text);
}

}  // namespace

/// What one query holds; outside the recovery frame, so that a raise loses none of it.
struct SampleTable::Query {
  explicit Query(const TableInfo& info) : filters(info.filters) {}
  alignas(8) unsigned char row[WidestRow] = {};
  FilterValues filters;
  std::unique_ptr<ExtendedFilter> extendedFilter;
  std::unique_ptr<ZOVAgentFrameworkComponentTraceEntry> traceEntry;
  ResourceAnchors anchors;
  ZOVSampleCallbackParms parms;
  RWBinaryTree tree;
};

void SampleTable::TakeSample() {
  ZOV_TRACE(Public);
  _services = TableServices::current();
  if (_services == nullptr) return;
  Query query(_info);
  _row = query.row;
  const auto failure = guarded(_info.name, "TakeSample", [&] { runQuery(query); });
  if (failure && _subnode != nullptr) reportSubnode(_subnode, failure->getReturnCode());
  _subnode = nullptr;
  query.tree.clearAndDestroy();
  _componentTraceEntry = nullptr;
  _row = nullptr;
  _rowServer = nullptr;
  if (query.traceEntry) _services->saveTraceEntry(std::move(query.traceEntry));
}

void SampleTable::runQuery(Query& query) {
  query.traceEntry = std::make_unique<ZOVAgentFrameworkComponentTraceEntry>(_info.traceName);
  _componentTraceEntry = query.traceEntry.get();
  _tracedRows = 0;
  _rowNumber = 0;
  const bool dump = traceUnit.on(DGT1_STATE_ENTER);
  DGT1_Printf(traceUnit, DGT1_STATE_ENTER, "%s", _info.enteredLine);
  readFilters(*this, query.filters.targets(), dump, _componentTraceEntry,
              _info.sorting == Sorting::Never ? nullptr : _info.keywords, &query.extendedFilter);
  fillKeyColumns(query.filters);
  query.anchors = _info.makeAnchors(query.filters);

  if (_history != 0) {
    takeSubnode(query, query.filters.value("ORIGINNODE").data());
    return;
  }
  ResetGetSubnode();
  for (const char* subnode = GetSubnode(); subnode != nullptr && *subnode != '\0'; subnode = GetSubnode()) {
    takeSubnode(query, subnode);
  }
}

bool SampleTable::sortsBy(const ExtendedFilter& filter) const {
  return _info.sorting == Sorting::ByRowLimit ? filter.rows != 0 : filter.sortKeyword != 0;
}

void SampleTable::takeSubnode(Query& query, const char* subnode) {
  const ExtendedFilter* filter = query.extendedFilter.get();
  unsigned int lastCode = 0;
  _subnode = subnode;
  _rowServer = nullptr;
  _rowSampleTime = -1;
  _rowLimit = filter != nullptr ? filter->rows : 0;
  _rowsSent = 0;
  query.parms.request = this;
  query.parms.filter = filter;
  query.parms.sortTree = filter != nullptr && sortsBy(*filter) ? &query.tree : nullptr;
  for (const auto& anchor : query.anchors) {
    const unsigned int rc = _services->getSamples(sampleCallback, &query.parms, subnode, anchor.get(),
                                                  _history != 0 ? SaveSampleHistorical : SaveSampleInterval,
                                                  filter != nullptr ? filter->getNewSample : TakeNewSample);
    lastCode = rc;
    if (rc != 0) traceMissingResource(*this, rc, subnode, _info.sampleTypes.front());
  }
  emitSorted(query, query.tree);
  query.parms.servers.clear();
  reportSubnode(subnode, lastCode);
  _subnode = nullptr;
}

void SampleTable::emitSorted(Query& query, RWBinaryTree& tree) {
  query.parms.sortTree = nullptr;
  RWBinaryTreeIterator next(tree);
  while (auto* sorted = static_cast<SortedSample*>(next())) {
    sampleCallback(&query.parms, &sorted->sample(), sorted->server());
  }
  tree.clearAndDestroy();
}

/// What the filters fixed stays in the row for all rows that follow, unless a sample says better.
void SampleTable::fillKeyColumns(const FilterValues& filters) {
  for (const Filter& filter : _info.filters) {
    for (const Column& column : _info.columns) {
      if (!RWCString(filter.column).equals(column.name, RWCString::ignoreCase)) continue;
      if (column.type == ColumnInfo_Integer) {
        storeInt(_row, column, filters.value(filter.column, filter.wildcard));
      } else {
        storeText(_row, column, filters.value(filter.column).view());
      }
    }
  }
}

bool SampleTable::accepts(const ZOVSample& sample) const {
  return std::ranges::find(_info.sampleTypes, sample.getSampleType()) != _info.sampleTypes.end();
}

unsigned int SampleTable::sampleCallback(ZOVSampleCallbackParms* parms, const void* object,
                                         const ZOVApplicationServerBase* server) {
  const auto& sample = *static_cast<const ZOVSample*>(object);
  auto& table = *static_cast<SampleTable*>(parms->request);
  if (server == nullptr || !table.accepts(sample)) return 0;
  if (parms->sortTree != nullptr) {
    parms->sortTree->insert(
        new SortedSample(std::unique_ptr<ZOVSample>(sample.clone()), parms->filter, server));
    return 0;
  }
  if (table.hasAllRows()) return 0;
  ++table._rowNumber;
  table.fillRow(sample, *server);
  table.emitRows(table._row, sample, *server);
  return 0;
}

void SampleTable::fillRow(const ZOVSample& sample, const ZOVApplicationServerBase& server) {
  const bool newServer = &server != _rowServer;
  for (const Column& column : _info.columns) {
    switch (column.source) {
      case ColumnSource::OriginNode:
      case ColumnSource::ServerName:
      case ColumnSource::NodeName:
        if (newServer) fillServerColumn(column, server);
        break;
      case ColumnSource::Value:
        storeInt(_row, column, sample.getNumericData(column.key));
        break;
      case ColumnSource::Rate:
        storeInt(_row, column, sample.getRate(column.key));
        break;
      case ColumnSource::Percent:
        storeInt(_row, column, sample.getPercent(column.key));
        break;
      default:
        fillColumn(column, sample, server);
    }
  }
  _rowServer = &server;
  _rowSampleTime = sample.getSampleTime();
}

void SampleTable::fillServerColumn(const Column& column, const ZOVApplicationServerBase& server) {
  if (column.source == ColumnSource::OriginNode) {
    storeText(_row, column, server.getSubnodeName().view());
  } else if (column.source == ColumnSource::ServerName) {
    storeText(_row, column, server.getName().view());
  } else {
    storeText(_row, column, _services->nodeName().view());
  }
}

void SampleTable::fillColumn(const Column& column, const ZOVSample& sample,
                             const ZOVApplicationServerBase& server) {
  switch (column.source) {
    case ColumnSource::SampleTime:
      if (sample.getSampleTime() != _rowSampleTime) {
        long seconds = 0;
        sample.copySampleTimeAndDuration(textAt(_row, column), &seconds);
      }
      break;
    case ColumnSource::Duration:
      storeInt(_row, column, sample.getDuration());
      break;
    case ColumnSource::CapturePercent:
      storeInt(_row, column, server.getRequestCapturePercent());
      break;
    case ColumnSource::StatisticsCollected:
      storeInt(_row, column, server.isResourceDataCollected() ? 1 : 0);
      break;
    case ColumnSource::RowNumber:
      storeInt(_row, column, _rowNumber);
      break;
    case ColumnSource::ShortName:
      storeText(_row, column,
                ShortNames::agent().shorten(sample.getStringData(column.key).view(), column.width));
      break;
    case ColumnSource::String:
      storeText(_row, column, sample.getStringData(column.key).view());
      break;
    case ColumnSource::JavaTime:
      storeJavaTime(_row, column, sample.getNumericData(column.key));
      break;
    case ColumnSource::Digits: {
      const long long value = sample.getNumericData(column.key);
      storeText(_row, column, value < 0 ? std::string() : std::to_string(value));
      break;
    }
    default:
      break;
  }
}

void SampleTable::emitRows(void* row, const ZOVSample& sample, const ZOVApplicationServerBase& server) {
  computeColumns(row, sample, server);
  emitRow();
}

void SampleTable::emitRow() {
  if (hasAllRows()) return;
  ++_rowsSent;
  addRows(reinterpret_cast<const char*>(_row), 1);
  if (_componentTraceEntry != nullptr && _tracedRows < TracedRows) {
    ++_tracedRows;
    _componentTraceEntry->newArgument("Add data value", _row, _info.rowBytes);
  }
  if (*_info.recordWord != '\0' && traceUnit.on(DGT1_STATE)) {
    const std::string title = DGT1_FormatText("Next %s record emitted follows: ", _info.recordWord);
    SnapHex(traceUnit, _row, static_cast<std::size_t>(_info.rowBytes), title.c_str());
  }
}

}  // namespace zov
