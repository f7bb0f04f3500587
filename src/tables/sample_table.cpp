#include "tables/sample_table.h"

#include <cstdlib>
#include <cstring>

#include "agent/agent.h"
#include "platform/trace.h"
#include "runtime/recovery.h"
#include "runtime/time.h"
#include "runtime/trace_scope.h"
#include "server/application_server_base.h"

static DGT1_Unit traceUnit("ZOVCSTBL");

namespace {

/// Rows that one entry of the component trace shows: it is a history of requests, not of data.
constexpr int TracedRows = 10;

void storeInt(unsigned char* row, const ZOVColumn& column, long long value) {
  const auto low = static_cast<std::int32_t>(value);  // the columns are 32 bits wide, whatever the values are
  std::memcpy(row + column.offset, &low, sizeof low);
}

char* textAt(unsigned char* row, const ZOVColumn& column) {
  return reinterpret_cast<char*>(row + column.offset);
}

void storeText(unsigned char* row, const ZOVColumn& column, std::string_view text) {
  if (column.type == ColumnInfo_SingleByteText) {
    zovFillText(textAt(row, column), column.width, text);
  } else {
    zovFillUtf8(textAt(row, column), column.width, text);
  }
}

void storeJavaTime(unsigned char* row, const ZOVColumn& column, long long milliseconds) {
  char text[17] = "";
  if (milliseconds > 0) {
    ZOVTime time;
    time.convertFromJavaTime(milliseconds);
    time.getCTTime(text, sizeof text);
  }
  storeText(row, column, text);
}

/// Whether `upper` names the column `lower`.
bool namesColumn(std::string_view upper, const char* lower) {
  return RWCString(upper).equals(lower, RWCString::ignoreCase);
}

}  // namespace

ZOVFilterValues::ZOVFilterValues(std::span<const char* const> columns) : _columns(columns) {
  for (std::size_t i = 0; i < columns.size(); ++i) _definitions[i] = {&_values[i], columns[i]};
}

const RWCString& ZOVFilterValues::text(std::string_view column) const {
  static const RWCString none;
  for (std::size_t i = 0; i < _columns.size(); ++i) {
    if (column == _columns[i]) return _values[i];
  }
  return none;
}

int ZOVFilterValues::number(std::string_view column, int wildcard) const {
  const RWCString& value = text(column);
  return value.isNull() ? wildcard : static_cast<int>(std::strtol(value.data(), nullptr, 10));
}

/// What one query holds; outside the recovery frame, so that a raise loses none of it.
struct ZOVSampleTable::Query {
  Query(const ZOVTableInfo& info) : filters(info.filters) {}
  alignas(8) unsigned char row[ZOVTableWidestRow] = {};
  ZOVFilterValues filters;
  std::unique_ptr<ZOVExtendedFilter> extendedFilter;
  std::unique_ptr<ZOVAgentFrameworkComponentTraceEntry> traceEntry;
  Anchors anchors;
  ZOVSampleCallbackParms parms;
  RWBinaryTree tree;
  ZOVAgent* agent = nullptr;
};

void ZOVSampleTable::TakeSample() {
  ZOV_TRACE(Public);
  Query query(_info);
  query.agent = ZOVAgent::current();
  if (query.agent == nullptr) return;
  _row = query.row;
  guarded(_info.facts.name, "TakeSample", [&] { runQuery(query); });
  query.tree.clearAndDestroy();
  _componentTraceEntry = nullptr;
  _row = nullptr;
  _rowServer = nullptr;
  if (query.traceEntry && query.agent->saveComponentTraceEntry(query.traceEntry.get()) != 0) {
    query.traceEntry.release();
  }
}

void ZOVSampleTable::runQuery(Query& query) {
  query.traceEntry = std::make_unique<ZOVAgentFrameworkComponentTraceEntry>(_info.facts.traceName);
  _componentTraceEntry = query.traceEntry.get();
  _tracedRows = 0;
  const bool dump = traceUnit.on(DGT1_STATE_ENTER);
  DGT1_Printf(traceUnit, DGT1_STATE_ENTER, "%s", _info.facts.enteredLine);
  ZOVExtendedFilter* extendedFilter = nullptr;
  query.agent->extractFilterInfo(*this, query.filters.definitions(), query.filters.size(), dump,
                                 _componentTraceEntry, keywordTable(), &extendedFilter);
  query.extendedFilter.reset(extendedFilter);
  fillKeyColumns(query.filters);
  query.anchors = makeAnchors(query.filters);

  if (_history != 0) {
    takeSubnode(query, query.filters.text("ORIGINNODE").data());
    return;
  }
  ResetGetSubnode();
  for (const char* subnode = GetSubnode(); subnode != nullptr && *subnode != '\0'; subnode = GetSubnode()) {
    takeSubnode(query, subnode);
  }
}

void ZOVSampleTable::takeSubnode(Query& query, const char* subnode) {
  const ZOVExtendedFilter* filter = query.extendedFilter.get();
  _rowServer = nullptr;
  _rowSampleTime = -1;
  _rowsSent = 0;
  for (const auto& anchor : query.anchors) {
    query.parms.request = this;
    query.parms.filter = filter;
    query.parms.sortTree = filter != nullptr && sortsBy(*filter) ? &query.tree : nullptr;
    const unsigned int rc = query.agent->getSamples(sampleCallback, &query.parms, subnode, anchor.get(),
                                                    _history != 0 ? SaveSampleHistorical : SaveSampleInterval,
                                                    filter != nullptr ? filter->getNewSample : TakeNewSample);
    if (rc != 0) {
      query.agent->errorGettingSamples(*this, rc, subnode,
                                       static_cast<ZOVSample::_SampleType>(_info.sampleTypes.front()));
    }
    emitSorted(query, query.tree);
    query.parms.servers.clear();
  }
}

void ZOVSampleTable::emitSorted(Query& query, RWBinaryTree& tree) {
  query.parms.sortTree = nullptr;
  RWBinaryTreeIterator next(tree);
  while (auto* sorted = static_cast<ZOVSortedSample*>(next())) {
    sampleCallback(&query.parms, &sorted->sample(), sorted->server());
  }
  tree.clearAndDestroy();
}

/// What the filters fixed stays in the row for all rows that follow, unless a sample says better.
void ZOVSampleTable::fillKeyColumns(const ZOVFilterValues& filters) {
  for (const char* filter : _info.filters) {
    for (const ZOVColumn& column : _info.columns) {
      if (!namesColumn(filter, column.name)) continue;
      if (column.type == ColumnInfo_Integer) {
        storeInt(_row, column, filters.number(filter, namesColumn("SUMMARY", column.name) ? -1 : 0));
      } else {
        storeText(_row, column, filters.text(filter).view());
      }
    }
  }
}

bool ZOVSampleTable::accepts(const ZOVSample& sample) const {
  for (const int type : _info.sampleTypes) {
    if (sample.getSampleType() == type) return true;
  }
  return false;
}

unsigned int ZOVSampleTable::sampleCallback(ZOVSampleCallbackParms* parms, const void* object,
                                            const ZOVApplicationServerBase* server) {
  const auto& sample = *static_cast<const ZOVSample*>(object);
  auto& table = *static_cast<ZOVSampleTable*>(parms->request);
  if (server == nullptr || !table.accepts(sample)) return 0;
  if (parms->sortTree != nullptr) {
    parms->sortTree->insert(
        new ZOVSortedSample(std::unique_ptr<ZOVSample>(sample.clone()), parms->filter, server));
    return 0;
  }
  if (parms->filter != nullptr && parms->filter->rows != 0 && table._rowsSent >= parms->filter->rows)
    return 0;
  ++table._rowsSent;
  table.fillRow(sample, *server);
  table.emitRow(sample, *server);
  return 0;
}

void ZOVSampleTable::fillRow(const ZOVSample& sample, const ZOVApplicationServerBase& server) {
  const bool newServer = &server != _rowServer;
  for (const ZOVColumn& column : _info.columns) {
    switch (column.read) {
      case ZOVColumnRead::OriginNode:
      case ZOVColumnRead::ServerName:
      case ZOVColumnRead::NodeName:
        if (newServer) fillServerColumn(column, server);
        break;
      case ZOVColumnRead::Value:
        storeInt(_row, column, sample.getNumericData(column.key));
        break;
      case ZOVColumnRead::Rate:
        storeInt(_row, column, sample.getRate(column.key));
        break;
      case ZOVColumnRead::Percent:
        storeInt(_row, column, sample.getPercent(column.key));
        break;
      default:
        fillColumn(column, sample, server);
    }
  }
  _rowServer = &server;
  _rowSampleTime = sample.getSampleTime();
}

void ZOVSampleTable::fillServerColumn(const ZOVColumn& column, const ZOVApplicationServerBase& server) {
  if (column.read == ZOVColumnRead::OriginNode) {
    storeText(_row, column, server.getSubnodeName().view());
  } else if (column.read == ZOVColumnRead::ServerName) {
    storeText(_row, column, server.getName().view());
  } else if (ZOVAgent* agent = ZOVAgent::current()) {
    storeText(_row, column, agent->getCurrentSystemName().view());
  }
}

void ZOVSampleTable::fillColumn(const ZOVColumn& column, const ZOVSample& sample,
                                const ZOVApplicationServerBase& server) {
  switch (column.read) {
    case ZOVColumnRead::SampleTime:
      if (sample.getSampleTime() != _rowSampleTime) {
        long seconds = 0;
        sample.copySampleTimeAndDuration(textAt(_row, column), &seconds);
      }
      break;
    case ZOVColumnRead::Duration:
      storeInt(_row, column, sample.getDuration());
      break;
    case ZOVColumnRead::CapturePercent:
      storeInt(_row, column, server.getRequestCapturePercent());
      break;
    case ZOVColumnRead::String:
      storeText(_row, column, sample.getStringData(column.key).view());
      break;
    case ZOVColumnRead::JavaTime:
      storeJavaTime(_row, column, sample.getNumericData(column.key));
      break;
    case ZOVColumnRead::Digits: {
      const long long value = sample.getNumericData(column.key);
      storeText(_row, column, value < 0 ? std::string() : std::to_string(value));
      break;
    }
    default:
      break;
  }
}

void ZOVSampleTable::computeColumns(unsigned char*, const ZOVSample&, const ZOVApplicationServerBase&) {}

void ZOVSampleTable::emitRow(const ZOVSample& sample, const ZOVApplicationServerBase& server) {
  computeColumns(_row, sample, server);
  addRows(reinterpret_cast<const char*>(_row), 1);
  if (_componentTraceEntry != nullptr && _tracedRows < TracedRows) {
    ++_tracedRows;
    _componentTraceEntry->newArgument("Add data value", _row, _info.facts.rowBytes);
  }
  if (*_info.facts.recordWord != '\0' && traceUnit.on(DGT1_STATE)) {
    const std::string title = DGT1_FormatText("Next %s record emitted follows: ", _info.facts.recordWord);
    SnapHex(traceUnit, _row, static_cast<std::size_t>(_info.facts.rowBytes), title.c_str());
  }
}
