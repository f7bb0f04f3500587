// The road from a table query to samples, and the walks over all servers.

#include "agent/retrieval.h"

#include <cstdlib>
#include <cstring>

#include "agent/agent.h"
#include "collectors/product_event_collector.h"
#include "diag/component_trace.h"
#include "platform/trace.h"
#include "runtime/recovery.h"
#include "runtime/trace_scope.h"
#include "server/application_server.h"

static DGT1_Unit traceUnit("ZOVCRTRV");

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

int ZOVSortedSample::compareTo(const RWCollectable* other) const {
  if (_filter == nullptr) return 0;
  const long long theirs = static_cast<const ZOVSortedSample*>(other)->_value;
  const int order = _value < theirs ? -1 : _value > theirs ? 1 : 0;
  return _filter->sortOrder == SortDescending ? -order : order;
}

long long ZOVSortedSample::sortValue() const {
  if (_filter == nullptr) return 0;
  const int key = static_cast<int>(_filter->sortKeyword);
  switch (_filter->sortValueType) {
    case SortByValue:
      return _sample->getNumericData(key);
    case SortByRate:
      return _sample->getRate(key);
    case SortByPercent:
      return _sample->getPercent(key);
  }
  return 0;
}

void ZOVAgent::extractFilterInfo(tqbox& request, const _FilterTableDef* table, int tableSize, int dump,
                                 ZOVAgentFrameworkComponentTraceEntry* entry, const _KeywordTable* keywords,
                                 ExtendedFilter** filter) {
  ZOV_TRACE(Public);
  if (request.samptype != tqbox::SampleWithFilters) return;
  QFL1_FILTERINFO* info = nullptr;
  while (request.GetFilterInfo(&info) == 0) {
    if (dump != 0) {
      const RWCString value = isText(*info) ? textOf(*info) : digitsOf(*info);
      SnapHex(traceUnit, value.data(), value.length(),
              DGT1_FormatText("Contents of %s column follows", info->columnName).c_str());
    }
    if (isSortFilter(*info)) {
      if (filter != nullptr && *filter == nullptr) *filter = createExtendedFilterFromParmA(info, keywords);
      continue;
    }
    if (!isText(*info) && info->valueType != QFL1_INTEGER) continue;
    for (int i = 0; i < tableSize; ++i) {
      if (std::strcmp(table[i].columnName, info->columnName) != 0) continue;
      RWCString& target = *table[i].target;
      target = isText(*info) ? textOf(*info) : digitsOf(*info);
      if (entry != nullptr) {
        entry->newArgument(table[i].columnName, target.data(), static_cast<int>(target.length()));
      }
      break;
    }
  }
}

ZOVExtendedFilter* ZOVAgent::createExtendedFilterFromParmA(QFL1_FILTERINFO* info,
                                                           const _KeywordTable* keywords) {
  ZOV_TRACE(Restricted);
  const RWCString value = textOf(*info);
  RWCTokenizer next(value);
  if (!next(";").equals("TOP", RWCString::ignoreCase)) return nullptr;
  RWCString newSample, column, rows, order;
  const ZOVFilterTableDef names[] = {
      {&newSample, "NEW_SAMP"}, {&column, "COLUMN"}, {&rows, "ROWS"}, {&order, "ORDER"}};
  while (true) {
    const RWCString name = next(";");
    const RWCString argument = name.isNull() ? name : next(";");
    if (argument.isNull()) break;
    for (const ZOVFilterTableDef& known : names) {
      if (name.equals(known.columnName, RWCString::ignoreCase)) *known.target = argument;
    }
  }
  auto filter = std::make_unique<ExtendedFilter>();
  for (const _KeywordTable* row = keywords; row != nullptr && row->columnName != nullptr; ++row) {
    if (column.isNull() || !column.equals(row->columnName, RWCString::ignoreCase)) continue;
    filter->sortKeyword = row->keyword;
    filter->sortValueType = row->valueType;
    break;
  }
  if (order.equals("ASC", RWCString::ignoreCase)) filter->sortOrder = SortAscending;
  if (newSample == "1") filter->getNewSample = UseHeldSample;
  filter->rows = static_cast<unsigned int>(std::strtol(rows.data(), nullptr, 10));
  return filter.release();
}

unsigned int ZOVAgent::getSamples(ZOVSampleCallback callback, _sampleCallbackParms* parms,
                                  const char* subnode, const ZOVResourceAnchor* anchor,
                                  _SaveSampleType saveType, _GetNewSample getNew) {
  ZOV_TRACE(Public);
  if (_applicationContext == nullptr) return ZOV_NO_SUCH_SERVER;
  // The parms hold the servers, outside of any frame that a raise may cut: they are released in any case.
  std::vector<std::shared_ptr<ZOVApplicationServerBase>>& servers = parms->servers;
  const std::size_t first = servers.size();
  if (subnode != nullptr && *subnode != '\0') {
    if (auto server = _applicationContext->findAppServerMatchingSubnode(subnode)) servers.push_back(server);
  } else {
    // Without the context's lock: a server that is slow must not keep new ones from being defined.
    for (const auto& server : _applicationContext->getAppServers()) servers.push_back(server);
  }
  bool anySucceeded = false;
  unsigned int lastFailure = ZOV_NO_SUCH_SERVER;
  for (std::size_t i = first; i < servers.size(); ++i) {
    const unsigned int rc =
        getSamplesFromAppServer(servers[i].get(), callback, parms, anchor, saveType, getNew);
    if (rc == 0) anySucceeded = true;
    if (rc != 0) lastFailure = rc;
  }
  return anySucceeded ? 0 : lastFailure;
}

unsigned int ZOVAgent::getSamplesFromAppServer(ZOVApplicationServerBase* server, ZOVSampleCallback callback,
                                               _sampleCallbackParms* parms, const ZOVResourceAnchor* anchor,
                                               _SaveSampleType saveType, _GetNewSample getNew) {
  ZOV_TRACE(Public);
  const bool history = saveType == SaveSampleHistorical;
  const ZOVSample::_SampleType type = anchor->getSampleType();
  const bool skip = history && !server->collectingHistoricalDataForSampleType(type);
  unsigned int rc = 0;
  if (!skip && !server->runningBackgroundCollection(type) && getNew == TakeNewSample) {
    rc = server->takeSample(*anchor);
  }
  if (rc == 0 || history) rc = server->returnSamples(callback, parms, *anchor, saveType);
  return rc;
}

unsigned int ZOVAgent::getLogFileSamples(ZOVSampleCallback callback, _sampleCallbackParms* parms,
                                         const char* subnode) {
  ZOV_TRACE(Public);
  if (_applicationContext == nullptr) return ZOV_NO_SUCH_SERVER;
  const auto server = _applicationContext->findAppServerMatchingSubnode(subnode);
  if (server == nullptr) return ZOV_NO_SUCH_SERVER;
  parms->servers.push_back(server);
  server->returnLogFileSamples(callback, parms);
  return 0;
}

unsigned int ZOVAgent::getProductEventSamples(ZOVSampleCallback callback, _sampleCallbackParms* parms,
                                              const char* /*subnode*/) {
  ZOV_TRACE(Public);
  productEventCollector().forEachSample(
      [&](const ZOVProductEventSample& sample) { callback(parms, &sample, nullptr); });
  return 0;
}

void ZOVAgent::errorGettingSamples(tqbox& request, const ZOVReturnCode& rc, const char* subnode,
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

void ZOVAgent::removeObsoleteResourceAnchorsByTime(ZOVSample::_DataSource source) {
  ZOV_TRACE(Public);
  if (_applicationContext == nullptr) return;
  _applicationContext->forEachAppServer([&](const ZOVApplicationContext::Server& server) {
    server->removeObsoleteResourceAnchorsByTime(source);
    return false;
  });
}

void ZOVAgent::getWorkloadAnalysisMessages() {
  ZOV_TRACE(Public);
  if (_applicationContext == nullptr) return;
  const ZOVMessagesAnchor anchor;
  // Without the context's lock: a server that is slow must not keep new ones from being defined.
  std::vector<ZOVApplicationContext::Server> servers = _applicationContext->getAppServers();
  withCleanup(
      [&] {
        for (const ZOVApplicationContext::Server& server : servers) {
          if (!server->runningBackgroundCollection(ZOVSample::SampleTypeMessage)) server->takeSample(anchor);
        }
      },
      [&] { servers.clear(); });
}
