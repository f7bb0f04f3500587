// The anchors of a server: how samples reach them, how they lapse, and how their samples are read.

#include "config/historical_collection.h"
#include "config/server_config_parms.h"
#include "diag/agent_log.h"
#include "platform/clock.h"
#include "runtime/recovery.h"
#include "runtime/trace_scope.h"
#include "samples/arithmetic.h"
#include "samples/sample_classes.h"
#include "server/application_server_base.h"

static DGT1_Unit traceUnit("ZOVASANC");

namespace {

enum : int { KeyProcessId = 4, KeyServerName = 5, KeyStatus = 61 };

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

void ZOVApplicationServerBase::saveSample(ZOVSample* sample, _SaveSampleType type,
                                          unsigned int collectionId) {
  ZOV_TRACE(Minor);
  if (!sample) return;
  holding(_lock, Exclusive, [&] {
    if (sample->getSampleType() == ZOVSample::SampleTypeApplicationServer) {
      saveServerSample(sample, type, collectionId);
    } else {
      saveResourceSample(sample, type, collectionId);
    }
  });
}

void ZOVApplicationServerBase::saveServerSample(ZOVSample* sample, _SaveSampleType type,
                                                unsigned int collectionId) {
  sample->saveNumericData(KeyProcessId, getProcessId());
  if (type == SaveSampleHistorical) {
    saveNewHistoricalSample(sample);
    return;
  }
  sample->saveNumericData(KeyStatus, _status);
  saveNewSample(sample, collectionId);
}

void ZOVApplicationServerBase::saveResourceSample(ZOVSample* sample, _SaveSampleType type,
                                                  unsigned int collectionId) {
  std::unique_ptr<ZOVResourceAnchor> described(sample->getResourceAnchor());
  ZOVResourceAnchor* anchor = described ? _resourceAnchorTable.find(described.get()) : nullptr;
  if (!anchor && described && _resourceAnchorTable.insert(described.get())) {
    anchor = described.release();
    anchor->setCollectHistory(collectingHistoricalDataForSampleType(anchor->getSampleType()));
  }
  if (!anchor) {
    delete sample;
  } else if (type == SaveSampleHistorical) {
    anchor->saveNewHistoricalSample(sample);
  } else {
    anchor->saveNewSample(sample, collectionId);
  }
}

// --- Recent requests.

int ZOVApplicationServerBase::getMinSamplingInterval(ZOVSample::_SampleType type) const {
  const ZOVSample::_DataSource source = ZOVSample::getDataSource(type);
  const bool resource = source == ZOVSample::DataSourceResource || source == ZOVSample::DataSourceVerboseGC;
  return resource ? _settings.resourceCollectAgeMax : _settings.requestCollectAgeMax;
}

bool ZOVApplicationServerBase::findCachedSampleRequest(const ZOVResourceAnchor& anchor) {
  ZOV_TRACE(Restricted);
  const std::int64_t now = ZOVClock::seconds();
  ZOVLockScope scope(_lock, Exclusive);
  for (auto request = _cachedSampleRequests.begin(); request != _cachedSampleRequests.end();) {
    if (now - request->getTime() > getMinSamplingInterval(request->getAnchor().getSampleType())) {
      request = _cachedSampleRequests.erase(request);
    } else if (anchor.doesItMatch(&request->getAnchor())) {
      return true;
    } else {
      ++request;
    }
  }
  return false;
}

void ZOVApplicationServerBase::defineCachedSampleRequest(const ZOVResourceAnchor& anchor) {
  ZOV_TRACE(Restricted);
  CachedSampleRequest request(anchor);
  ZOVLockScope scope(_lock, Exclusive);
  _cachedSampleRequests.push_back(std::move(request));
}

// --- Anchors that no longer report.

void ZOVApplicationServerBase::markResourceAnchorsLogicallyDeleted(ZOVSample::_DataSource source) {
  ZOV_TRACE(Restricted);
  holding(_lock, Exclusive, [&] {
    if (getDataSource() == source) markLogicallyDeleted();
    ZOVResourceAnchorTableIterator next(_resourceAnchorTable);
    while (ZOVResourceAnchor* anchor = next()) {
      if (anchor->getDataSource() == source) anchor->markLogicallyDeleted();
    }
  });
}

void ZOVApplicationServerBase::markAllSourcesLogicallyDeleted() {
  for (const auto source : {ZOVSample::DataSourceResource, ZOVSample::DataSourceProfiler,
                            ZOVSample::DataSourceWorkload, ZOVSample::DataSourceVerboseGC}) {
    markResourceAnchorsLogicallyDeleted(source);
  }
}

void ZOVApplicationServerBase::removeObsoleteResourceAnchors(const ZOVResourceAnchor* wanted,
                                                             unsigned int collectionId) {
  ZOV_TRACE(Restricted);
  if (!wanted) return;
  holding(_lock, Exclusive, [&] {
    if (wanted->isSpecific()) {
      ZOVResourceAnchor* const anchor = _resourceAnchorTable.find(wanted);
      if (anchor && anchor->isObsolete(collectionId)) anchor->markLogicallyDeleted();
      return;
    }
    const auto next = _resourceAnchorTable.getIteratorForSampleType(wanted->getSampleType());
    if (!next) return;
    while (auto* anchor = static_cast<ZOVResourceAnchor*>((*next)())) {
      if (anchor->doesItMatch(wanted) && anchor->isObsolete(collectionId)) anchor->markLogicallyDeleted();
    }
  });
}

void ZOVApplicationServerBase::removeObsoleteResourceAnchors(ZOVSample::_DataSource source,
                                                             unsigned int collectionId) {
  ZOV_TRACE(Restricted);
  holding(_lock, Exclusive, [&] {
    ZOVResourceAnchorTableIterator next(_resourceAnchorTable);
    while (ZOVResourceAnchor* anchor = next()) {
      if (anchor->getDataSource() != source || collectOnDemandOnly(anchor->getSampleType())) continue;
      if (anchor->isObsolete(collectionId)) anchor->markLogicallyDeleted();
    }
  });
}

int ZOVApplicationServerBase::isRemovableByTime(const ZOVResourceAnchor& anchor, std::uint32_t now,
                                                int retain) const {
  if (anchor.isPinned()) return 0;
  if (anchor.isLogicallyDeleted() && retain <= 0) return 1;
  const ZOVSample* const last = anchor.getLastSample();
  if (!last) return 0;
  const std::int64_t age = std::int64_t{now} - last->getSampleTime();
  if (anchor.isLogicallyDeleted()) return age >= retain;
  return last->isIntervalSample() && age > 2 * std::int64_t{last->getDuration()} && age > retain;
}

void ZOVApplicationServerBase::removeObsoleteResourceAnchorsByTime(ZOVSample::_DataSource source) {
  ZOV_TRACE(Public);
  const int retain = _settings.retainHistory;
  const std::uint32_t now = ZOVClock::seconds();
  holding(_lock, Exclusive, [&] {
    ZOVResourceAnchorTableIterator next(_resourceAnchorTable);
    ZOVResourceAnchor* following = next();
    while (ZOVResourceAnchor* const anchor = following) {
      following = next();
      if (anchor->getDataSource() == source && isRemovableByTime(*anchor, now, retain)) {
        _resourceAnchorTable.removeAndDestroy(anchor);
      }
    }
  });
}

// --- Reading.

bool ZOVApplicationServerBase::collectingHistoricalDataForSampleType(ZOVSample::_SampleType type) const {
  return (_settings.historicalCollection & historyBit(ZOVSample::getDataSource(type))) != 0;
}

ZOVReturnCode ZOVApplicationServerBase::returnSamples(ZOVSampleCallback callback,
                                                      ZOVSampleCallbackParms* parms,
                                                      const ZOVResourceAnchor& anchor,
                                                      _SaveSampleType saveType) {
  ZOV_TRACE(Public);
  if (_excludedFromMonitoring) return ZOV_SERVER_EXCLUDED;
  const bool history = saveType == SaveSampleHistorical;
  const ZOVSample::_SampleType type = anchor.getSampleType();
  if (history && !collectingHistoricalDataForSampleType(type)) {
    ZOV_LOG_MESSAGE(ZOVA0099W, ZOVSample::getSampleTypeInEnglish(type), getName());
    return ZOV_NO_HISTORY;
  }
  const bool server = type == ZOVSample::SampleTypeApplicationServer;
  if (!server && !history && _status != ServerConnected) return ZOV_SERVER_NOT_ACTIVE;
  const unsigned int returned = holding(_lock, history ? Exclusive : Shared, [&] {
    return server ? returnServerSample(callback, parms, saveType)
                  : returnResourceSamples(callback, parms, anchor, saveType);
  });
  return returned ? ZOV_OK : ZOV_NO_SUCH_RESOURCE;
}

unsigned int ZOVApplicationServerBase::returnServerSample(ZOVSampleCallback callback,
                                                          ZOVSampleCallbackParms* parms,
                                                          _SaveSampleType saveType) {
  if (isReadable(*this, saveType) && returnSamples(callback, parms, saveType, this)) return 1;
  ZOVAppServerSample placeholder;
  placeholder.saveStringData(KeyServerName, getName().view());
  placeholder.saveNumericData(KeyStatus, _status);
  callback(parms, static_cast<const ZOVSample*>(&placeholder), this);
  return 1;
}

unsigned int ZOVApplicationServerBase::returnResourceSamples(ZOVSampleCallback callback,
                                                             ZOVSampleCallbackParms* parms,
                                                             const ZOVResourceAnchor& wanted,
                                                             _SaveSampleType saveType) {
  if (wanted.isSpecific()) {
    ZOVResourceAnchor* const anchor = _resourceAnchorTable.find(&wanted);
    if (!anchor || !isReadable(*anchor, saveType)) return 0;
    return anchor->returnSamples(callback, parms, saveType, this);
  }
  unsigned int returned = 0;
  const auto next = _resourceAnchorTable.getIteratorForSampleType(wanted.getSampleType());
  if (!next) return 0;
  while (auto* anchor = static_cast<ZOVResourceAnchor*>((*next)())) {
    if (!isReadable(*anchor, saveType) || !anchor->doesItMatch(&wanted)) continue;
    returned |= anchor->returnSamples(callback, parms, saveType, this);
  }
  return returned;
}

// --- Roll-up.

void ZOVApplicationServerBase::rollupTo(ZOVAppServerSample& serverSample) {
  ZOV_TRACE(Restricted);
  struct Term {
    ZOVSample::_SampleType type;
    int key;
    int total;  // the roll-up's key that it is added to
  };
  static constexpr Term Terms[] = {
      {ZOVSample::SampleTypeContainer, zov::key::stateless_instantiates, zov::key::bean_instantiates},
      {ZOVSample::SampleTypeContainer, zov::key::entity_instantiates, zov::key::bean_instantiates},
      {ZOVSample::SampleTypeContainer, zov::key::stateful_instantiates, zov::key::bean_instantiates},
      {ZOVSample::SampleTypeContainer, zov::key::container_instantiates, zov::key::bean_instantiates},
      {ZOVSample::SampleTypeTransaction, zov::key::global_transactions_begun, zov::key::transactions},
      {ZOVSample::SampleTypeTransaction, zov::key::local_transactions_begun, zov::key::transactions},
      {ZOVSample::SampleTypeTransaction, zov::key::global_transactions_committed,
       zov::key::transactions_committed},
      {ZOVSample::SampleTypeTransaction, zov::key::local_transactions_committed,
       zov::key::transactions_committed},
      {ZOVSample::SampleTypeTransaction, zov::key::global_transactions_rolled_back,
       zov::key::transactions_rolled_back},
      {ZOVSample::SampleTypeTransaction, zov::key::local_transactions_rolled_back,
       zov::key::transactions_rolled_back},
      {ZOVSample::SampleTypeDBConnection, zov::key::db_connections_created, zov::key::db_connections_created},
      {ZOVSample::SampleTypeDBConnection, zov::key::db_connections_destroyed,
       zov::key::db_connections_destroyed},
      {ZOVSample::SampleTypeDBConnection, zov::key::db_connections_allocated,
       zov::key::db_connections_allocated},
      {ZOVSample::SampleTypeWebApplication, zov::key::web_errors, zov::key::web_errors},
      {ZOVSample::SampleTypeWebApplication, zov::key::web_requests, zov::key::web_requests},
  };
  ZOVAppServerSample::RollUpTotals totals{};
  totals[ZOVAppServerSample::rollUpPlace(zov::key::rollup_unused)] =
      ZOVSample::NullValue;  // nothing counts it
  holding(_lock, Shared, [&] {
    for (const Term& term : Terms) {
      const auto next = _resourceAnchorTable.getIteratorForSampleType(term.type);
      while (const auto* anchor = static_cast<const ZOVResourceAnchor*>((*next)())) {
        const ZOVSample* const last = anchor->getLastSample();
        const long long count = last ? last->getTotalCount(term.key) : ZOVSample::NullValue;
        if (count == ZOVSample::NullValue) continue;
        long long& total = totals[ZOVAppServerSample::rollUpPlace(term.total)];
        total = zovAdd(total, count);
      }
    }
  });
  serverSample.saveRollUpValues(totals);
}
