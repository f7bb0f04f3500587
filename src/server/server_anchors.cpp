#include "server/server_anchors.h"

#include "config/historical_collection.h"
#include "diag/agent_log.h"
#include "runtime/recovery.h"
#include "runtime/trace_scope.h"
#include "samples/arithmetic.h"
#include "samples/sample_classes.h"
#include "server/application_server_base.h"
#include "server/over_budget.h"
#include "transport/poll_request.h"

static DGT1_Unit traceUnit("ZOVASANC");

namespace zov {

namespace {

constexpr std::int64_t SecondsBetweenToldFull = 3600;

unsigned int historyBit(ZOVSample::_DataSource source) {
  switch (source) {
    case ZOVSample::DataSourceResource:
      return ZOV_HISTORY_PSI;
    case ZOVSample::DataSourceWorkload:
      return ZOV_HISTORY_WA;
    case ZOVSample::DataSourceEvent:
      return ZOV_HISTORY_LOG;
    case ZOVSample::DataSourceVerboseGC:
      return ZOV_HISTORY_VERBOSEGC;
    default:
      return 0;
  }
}

bool isReadable(const ZOVResourceAnchor& anchor, _SaveSampleType saveType) {
  return saveType == SaveSampleHistorical ? !anchor.isHistoryOnly() : !anchor.isLogicallyDeleted();
}

}  // namespace

// --- Saving.

void ServerAnchors::saveSample(ZOVSample* sample, _SaveSampleType type, unsigned int collectionId) {
  ZOV_TRACE(Minor);
  if (!sample) return;
  const ZOVBudget* const toTell = holding(_lock, Exclusive, [&]() ZOV_REQUIRES(_lock) -> const ZOVBudget* {
    const bool own = sample->getSampleType() == ZOVSample::SampleTypeApplicationServer;
    const ZOVBudget* const full =
        own ? saveServerSample(sample, type, collectionId) : saveResourceSample(sample, type, collectionId);
    if (full) droppedOverBudget.add();
    if (!full || (_toldFull && ZOVClock::secondsSince(*_toldFull) < SecondsBetweenToldFull)) return nullptr;
    _toldFull = ZOVClock::steady();
    return full;
  });
  if (toTell) tellOverBudget(ZOV_PLACE, __LINE__, _server.getName(), "samples", *toTell);
}

const ZOVBudget* ServerAnchors::saveServerSample(ZOVSample* sample, _SaveSampleType type,
                                                 unsigned int collectionId) {
  sample->saveNumericData(key::process_id, _server.getProcessId());
  if (type == SaveSampleInterval) sample->saveNumericData(key::server_status, _server.getStatus());
  return saveAt(_server, sample, type, collectionId);
}

void ServerAnchors::saveServerStandIn() {
  ZOV_TRACE(Restricted);
  holding(_lock, Exclusive, [&]() ZOV_REQUIRES(_lock) {
    const ZOVResourceAnchor& own = _server;
    if (own.getLastSample() && !own.isLogicallyDeleted() && !own.isHistoryOnly()) return;
    auto standIn = std::make_unique<ZOVAppServerSample>();
    standIn->saveStringData(key::server_name, _server.getName().view());
    saveServerSample(standIn.release(), SaveSampleInterval, 0);
  });
}

const ZOVBudget* ServerAnchors::saveResourceSample(ZOVSample* sample, _SaveSampleType type,
                                                   unsigned int collectionId) {
  std::unique_ptr<ZOVResourceAnchor> described(sample->getResourceAnchor());
  ZOVResourceAnchor* const known = described ? _table.find(described.get()) : nullptr;
  if (known) return saveAt(*known, sample, type, collectionId);
  if (!described || !_table.insert(described.get())) {
    delete sample;
    return nullptr;
  }
  ZOVResourceAnchor& anchor = *described.release();
  anchor.setCollectHistory(keepsHistoryOf(anchor.getSampleType()));
  const ZOVBudget* const full = saveAt(anchor, sample, type, collectionId);
  if (full) _table.removeAndDestroy(&anchor);
  return full;
}

/// Saves at the anchor, or deletes the sample when that would take more memory than there is.
const ZOVBudget* ServerAnchors::saveAt(ZOVResourceAnchor& anchor, ZOVSample* sample, _SaveSampleType type,
                                       unsigned int collectionId) {
  if (const ZOVBudget* const full = _table.makeRoom(anchor, *sample)) {
    delete sample;
    return full;
  }
  if (type == SaveSampleHistorical) {
    anchor.saveNewHistoricalSample(sample);
  } else {
    anchor.saveNewSample(sample, collectionId);
  }
  _table.settle(anchor);
  return nullptr;
}

// --- Recent requests.

int ServerAnchors::getMinSamplingInterval(ZOVSample::_SampleType type) const {
  const ZOVSample::_DataSource source = ZOVSample::getDataSource(type);
  const bool resource = source == ZOVSample::DataSourceResource || source == ZOVSample::DataSourceVerboseGC;
  return resource ? _settings.resourceCollectAgeMax : _settings.requestCollectAgeMax;
}

bool ServerAnchors::findCachedRequest(const ZOVResourceAnchor& wanted) {
  ZOV_TRACE(Restricted);
  return holding(_lock, Exclusive, [&]() ZOV_REQUIRES(_lock) {
    for (auto recent = _recentRequests.begin(); recent != _recentRequests.end();) {
      if (ZOVClock::secondsSince(recent->time) > getMinSamplingInterval(recent->anchor->getSampleType())) {
        recent = _recentRequests.erase(recent);
      } else if (wanted.doesItMatch(recent->anchor.get())) {
        return true;
      } else {
        ++recent;
      }
    }
    return false;
  });
}

void ServerAnchors::defineCachedRequest(const ZOVResourceAnchor& wanted) {
  ZOV_TRACE(Restricted);
  RecentRequest recent{ZOVClock::steady(), std::unique_ptr<ZOVResourceAnchor>(wanted.clone())};
  holding(_lock, Exclusive, [&]() ZOV_REQUIRES(_lock) { _recentRequests.push_back(std::move(recent)); });
}

// --- Anchors that no longer report.

void ServerAnchors::markLogicallyDeleted(ZOVSample::_DataSource source) {
  ZOV_TRACE(Restricted);
  holding(_lock, Exclusive, [&]() ZOV_REQUIRES(_lock) {
    ZOVResourceAnchor& own = _server;
    if (own.getDataSource() == source) own.markLogicallyDeleted();
    ZOVResourceAnchorTableIterator next(_table);
    while (ZOVResourceAnchor* anchor = next()) {
      if (anchor->getDataSource() == source) anchor->markLogicallyDeleted();
    }
  });
}

void ServerAnchors::markLogicallyDeleted() {
  for (const auto source : {ZOVSample::DataSourceResource, ZOVSample::DataSourceProfiler,
                            ZOVSample::DataSourceWorkload, ZOVSample::DataSourceVerboseGC}) {
    markLogicallyDeleted(source);
  }
}

void ServerAnchors::markObsolete(const ZOVResourceAnchor& wanted, unsigned int collectionId) {
  ZOV_TRACE(Restricted);
  holding(_lock, Exclusive, [&]() ZOV_REQUIRES(_lock) {
    if (wanted.isSpecific()) {
      ZOVResourceAnchor* const anchor = _table.find(&wanted);
      if (anchor && anchor->isObsolete(collectionId)) anchor->markLogicallyDeleted();
      return;
    }
    const auto next = _table.getIteratorForSampleType(wanted.getSampleType());
    if (!next) return;
    while (auto* anchor = static_cast<ZOVResourceAnchor*>((*next)())) {
      if (anchor->doesItMatch(&wanted) && anchor->isObsolete(collectionId)) anchor->markLogicallyDeleted();
    }
  });
}

void ServerAnchors::markObsolete(ZOVSample::_DataSource source, unsigned int collectionId) {
  ZOV_TRACE(Restricted);
  holding(_lock, Exclusive, [&]() ZOV_REQUIRES(_lock) {
    ZOVResourceAnchorTableIterator next(_table);
    while (ZOVResourceAnchor* anchor = next()) {
      if (anchor->getDataSource() != source || ZOVPollRequest::collectOnDemandOnly(anchor->getSampleType()))
        continue;
      if (anchor->isObsolete(collectionId)) anchor->markLogicallyDeleted();
    }
  });
}

bool ServerAnchors::isRemovableByTime(const ZOVResourceAnchor& anchor) const {
  if (anchor.isPinned()) return false;
  const int retain = _settings.retainHistory;
  if (anchor.isLogicallyDeleted() && retain <= 0) return true;
  const ZOVSample* const last = anchor.getLastSample();
  const std::int64_t age = anchor.secondsSinceReport();
  // Without a last sample its history was handed over, and nobody can ask for it again.
  if (!last || anchor.isLogicallyDeleted()) return age >= retain;
  return last->isIntervalSample() && age > 2 * std::int64_t{last->getDuration()} && age > retain;
}

void ServerAnchors::removeObsoleteByTime(ZOVSample::_DataSource source) {
  ZOV_TRACE(Public);
  holding(_lock, Exclusive, [&]() ZOV_REQUIRES(_lock) {
    ZOVResourceAnchorTableIterator next(_table);
    ZOVResourceAnchor* following = next();
    while (ZOVResourceAnchor* const anchor = following) {
      following = next();
      if (anchor->getDataSource() == source && isRemovableByTime(*anchor)) {
        _table.removeAndDestroy(anchor);
      }
    }
  });
}

// --- Reading.

bool ServerAnchors::keepsHistoryOf(ZOVSample::_SampleType type) const {
  return (_settings.historicalCollection & historyBit(ZOVSample::getDataSource(type))) != 0;
}

ZOVReturnCode ServerAnchors::returnSamples(ZOVSampleCallback callback, ZOVSampleCallbackParms* parms,
                                           const ZOVResourceAnchor& wanted, _SaveSampleType saveType) {
  ZOV_TRACE(Public);
  const bool history = saveType == SaveSampleHistorical;
  const ZOVSample::_SampleType type = wanted.getSampleType();
  if (history && !keepsHistoryOf(type)) {
    ZOV_LOG_MESSAGE(ZOVA0099W, ZOVSample::getSampleTypeInEnglish(type), _server.getName());
    return ZOV_NO_HISTORY;
  }
  const bool server = type == ZOVSample::SampleTypeApplicationServer;
  if (!server && !history && _server.getStatus() != ServerConnected) return ZOV_SERVER_NOT_ACTIVE;
  return holding(_lock, history ? Exclusive : Shared, [&]() ZOV_REQUIRES_SHARED(_lock) -> ZOVReturnCode {
    const unsigned int returned = server ? returnServerSample(callback, parms, saveType)
                                         : returnResourceSamples(callback, parms, wanted, saveType);
    return returned || hasNothingOf(type, saveType) ? ZOV_OK : ZOV_NO_SUCH_RESOURCE;
  });
}

bool ServerAnchors::hasNothingOf(ZOVSample::_SampleType type, _SaveSampleType saveType) const {
  const auto next = _table.getIteratorForSampleType(type);
  if (!next) return false;
  while (const auto* anchor = static_cast<const ZOVResourceAnchor*>((*next)())) {
    if (isReadable(*anchor, saveType)) return false;
  }
  return true;
}

unsigned int ServerAnchors::returnServerSample(ZOVSampleCallback callback, ZOVSampleCallbackParms* parms,
                                               _SaveSampleType saveType) {
  ZOVResourceAnchor& own = _server;
  if (isReadable(own, saveType) && returnSamplesOf(own, callback, parms, saveType)) return 1;
  ZOVAppServerSample placeholder;
  placeholder.saveStringData(key::server_name, _server.getName().view());
  placeholder.saveNumericData(key::server_status, _server.getStatus());
  if (_server.getStatus() == ServerConnected) {
    placeholder.saveNumericData(key::process_id, _server.getProcessId());
  }
  callback(parms, static_cast<const ZOVSample*>(&placeholder), &_server);
  return 1;
}

unsigned int ServerAnchors::returnResourceSamples(ZOVSampleCallback callback, ZOVSampleCallbackParms* parms,
                                                  const ZOVResourceAnchor& wanted, _SaveSampleType saveType) {
  if (wanted.isSpecific()) {
    ZOVResourceAnchor* const anchor = _table.find(&wanted);
    if (!anchor || !isReadable(*anchor, saveType)) return 0;
    return returnSamplesOf(*anchor, callback, parms, saveType);
  }
  unsigned int returned = 0;
  const auto next = _table.getIteratorForSampleType(wanted.getSampleType());
  if (!next) return 0;
  while (auto* anchor = static_cast<ZOVResourceAnchor*>((*next)())) {
    if (!isReadable(*anchor, saveType) || !anchor->doesItMatch(&wanted)) continue;
    returned |= returnSamplesOf(*anchor, callback, parms, saveType);
  }
  return returned;
}

/// A historical read makes a copy, or takes the history away.
unsigned int ServerAnchors::returnSamplesOf(ZOVResourceAnchor& anchor, ZOVSampleCallback callback,
                                            ZOVSampleCallbackParms* parms, _SaveSampleType saveType) {
  const unsigned int returned = anchor.returnSamples(callback, parms, saveType, &_server);
  if (saveType == SaveSampleHistorical) _table.settle(anchor);
  return returned;
}

void ServerAnchors::forEachAnchor(ZOVSample::_SampleType type,
                                  const std::function<void(const ZOVResourceAnchor&)>& visit) const {
  ZOV_TRACE(Restricted);
  holding(_lock, Shared, [&]() ZOV_REQUIRES_SHARED(_lock) {
    if (type == ZOVSample::SampleTypeApplicationServer) return visit(_server);
    const auto next = _table.getIteratorForSampleType(type);
    if (!next) return;
    while (const auto* anchor = static_cast<const ZOVResourceAnchor*>((*next)())) visit(*anchor);
  });
}

// --- Roll-up.

namespace {
/// Summaries count what their details count already.
bool isCounted(const ZOVResourceAnchor& anchor) {
  if (anchor.isLogicallyDeleted() || anchor.isHistoryOnly()) return false;
  const ZOVSample* const last = anchor.getLastSample();
  return last != nullptr && last->getNumericData(key::summary) <= ZOVSample::SummaryDetail;
}
}  // namespace

void ServerAnchors::rollUpTo(ZOVAppServerSample& serverSample) {
  ZOV_TRACE(Restricted);
  struct Term {
    ZOVSample::_SampleType type;
    int key;
    int total;  // the roll-up's key that it is added to
  };
  static constexpr Term Terms[] = {
      {ZOVSample::SampleTypeContainer, key::stateless_instantiates, key::bean_instantiates},
      {ZOVSample::SampleTypeContainer, key::entity_instantiates, key::bean_instantiates},
      {ZOVSample::SampleTypeContainer, key::stateful_instantiates, key::bean_instantiates},
      {ZOVSample::SampleTypeContainer, key::container_instantiates, key::bean_instantiates},
      {ZOVSample::SampleTypeTransaction, key::global_transactions_begun, key::transactions},
      {ZOVSample::SampleTypeTransaction, key::local_transactions_begun, key::transactions},
      {ZOVSample::SampleTypeTransaction, key::global_transactions_committed, key::transactions_committed},
      {ZOVSample::SampleTypeTransaction, key::local_transactions_committed, key::transactions_committed},
      {ZOVSample::SampleTypeTransaction, key::global_transactions_rolled_back, key::transactions_rolled_back},
      {ZOVSample::SampleTypeTransaction, key::local_transactions_rolled_back, key::transactions_rolled_back},
      {ZOVSample::SampleTypeDBConnection, key::db_connections_created, key::db_connections_created},
      {ZOVSample::SampleTypeDBConnection, key::db_connections_destroyed, key::db_connections_destroyed},
      {ZOVSample::SampleTypeDBConnection, key::db_connections_allocated, key::db_connections_allocated},
      {ZOVSample::SampleTypeWebApplication, key::web_errors, key::web_errors},
      {ZOVSample::SampleTypeWebApplication, key::web_requests, key::web_requests},
  };
  ZOVAppServerSample::RollUpTotals totals{};
  totals[ZOVAppServerSample::rollUpPlace(key::rollup_unused)] = ZOVSample::NullValue;  // nothing counts it
  holding(_lock, Shared, [&]() ZOV_REQUIRES_SHARED(_lock) {
    for (const Term& term : Terms) {
      const auto next = _table.getIteratorForSampleType(term.type);
      while (const auto* anchor = static_cast<const ZOVResourceAnchor*>((*next)())) {
        const ZOVSample* const last = isCounted(*anchor) ? anchor->getLastSample() : nullptr;
        const long long count = last ? last->getTotalCount(term.key) : ZOVSample::NullValue;
        if (count == ZOVSample::NullValue) continue;
        long long& total = totals[ZOVAppServerSample::rollUpPlace(term.total)];
        total = zovAdd(total, count);
      }
    }
  });
  serverSample.saveRollUpValues(totals);
}

}  // namespace zov
