// The road from a table query to samples, and the walks over all servers.

#include "agent/agent.h"
#include "collectors/product_event_collector.h"
#include "platform/trace.h"
#include "runtime/recovery.h"
#include "runtime/trace_scope.h"
#include "server/application_server.h"
#include "tables/sorted_sample.h"

static DGT1_Unit traceUnit("ZOVCRTRV");

namespace {

bool isGivenUp(const ZOVSampleCallbackParms& parms) {
  return parms.request != nullptr && parms.request->IsGivenUp() != 0;
}

}  // namespace

void ZOVAgent::extractFilterInfo(tqbox& request, const _FilterTableDef* table, int tableSize, int dump,
                                 ZOVAgentFrameworkComponentTraceEntry* entry, const _KeywordTable* keywords,
                                 ExtendedFilter** filter) {
  const bool wanted = filter != nullptr && *filter == nullptr;
  std::unique_ptr<ExtendedFilter> sortFilter;
  zov::readFilters(request, {table, static_cast<std::size_t>(tableSize)}, dump != 0, entry, keywords,
                   wanted ? &sortFilter : nullptr);
  if (wanted) *filter = sortFilter.release();
}

ZOVAgent::ExtendedFilter* ZOVAgent::createExtendedFilterFromParmA(QFL1_FILTERINFO* info,
                                                                  const _KeywordTable* keywords) {
  return zov::readSortFilter(*info, keywords).release();
}

void ZOVAgent::errorGettingSamples(tqbox& request, const ZOVReturnCode& rc, const char* subnode,
                                   ZOVSample::_SampleType type) {
  zov::traceMissingResource(request, rc, subnode, type);
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
  for (std::size_t i = first; i < servers.size() && !isGivenUp(*parms); ++i) {
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
  if (!skip && !server->runningBackgroundCollection(type) && getNew == zov::TakeNewSample) {
    rc = server->takeSample(*anchor, [parms] { return isGivenUp(*parms); });
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
  // Without the context's lock: a server's own may be held through a poll's end.
  std::vector<ZOVApplicationContext::Server> servers = _applicationContext->getAppServers();
  withCleanup(
      [&] {
        for (const ZOVApplicationContext::Server& server : servers) {
          if (!server->runningBackgroundCollection(ZOVSample::SampleTypeMessage)) server->fetchMessages();
        }
      },
      [&] { servers.clear(); });
}
