#include "server/collection_switches.h"

#include <algorithm>

#include "diag/agent_log.h"
#include "runtime/trace_scope.h"
#include "server/application_server_base.h"
#include "server/collector_session.h"
#include "transport/collect_gc_data.h"
#include "transport/collect_workload.h"

static DGT1_Unit traceUnit("ZOVASCOL");

namespace zov {

namespace {

constexpr unsigned int GCRecordsMaximum = 200;
constexpr int DefaultGCInterval = 60;  // seconds

/// A collector that says nothing of the percentage does what it was told.
int percentInForce(long long answered, int asked) {
  return answered >= 1 && answered <= 100 ? static_cast<int>(answered) : asked;
}

/// The reason behind a refusal is the collector's own code, when it gave one.
ZOVReturnCode reasonOf(const ZOVReturnCode& rc, long long refusal) {
  return rc == ZOV_INVALID_RESPONSE && refusal != 0 ? ZOVReturnCode(static_cast<unsigned int>(refusal)) : rc;
}

}  // namespace

void CollectionSwitches::configure() {
  const ServerSettings& settings = _server.settings();
  _requestLevel = settings.workloadCollectLevel;
  _requestPercent = _percentInForce = settings.workloadCapturePercent;
  _gcAction = settings.gcCollectAction;
  _gcInterval = settings.gcCollectInterval;
}

void CollectionSwitches::startedCollectingRequestData(bool collects) {
  _collectsRequests = collects;
  _server.wakeupBackgroundProfilerMonitor();
}

void CollectionSwitches::startedCollectingGCData(bool collects) {
  _collectsGC = collects;
  _server.wakeupBackgroundProfilerMonitor();
}

// --- Request data.

int CollectionSwitches::levelToGoOnWith() const {
  if (const int last = _requestLevel; last > 0) return last;
  return std::max<int>(_server.settings().workloadCollectLevel, 1);
}

ZOVReturnCode CollectionSwitches::processCollectRequest(int level, int percent) {
  ZOV_TRACE(Public);
  if (_server.isExcludedFromMonitoring()) return ZOV_SERVER_EXCLUDED;
  if (!_session.isConnected()) return ZOV_PROFILING_NOT_ACTIVE;
  if (level < 0) level = levelToGoOnWith();
  if (percent < 0) percent = _requestPercent;
  const bool known = level == 0 || ZOVCollectWorkload::transformCollectLevel(level) != 0;
  if (!known) return ZOV_INVALID_COMMAND;  // to the collector it would be off

  long long value = 0;  // the reason of a refusal, or the percentage that holds
  RWCString detail;
  const char* const classTypes = level == 0 ? "" : ZOVCollectWorkload::AllCollectClassTypes;
  const ZOVCollectWorkload request(classTypes, "", level, percent, ZOVCollectWorkload::CollectDefaultCalls,
                                   0);
  ZOVReturnCode rc = _session.send(request, &value, &detail);
  if (rc != 0) {
    rc = reasonOf(rc, value);
    ZOV_LOG_ERROR(ZOVA0073E, _server.getName(), level, percent, rc.getDescription(), detail);
    return rc;
  }
  if (level < 1) {
    ZOV_LOG_MESSAGE(ZOVA0066I, _server.getName());
    startedCollectingRequestData(false);
    _server.markResourceAnchorsLogicallyDeleted(ZOVSample::DataSourceWorkload);
  } else {
    _percentInForce = percentInForce(value, percent);
    ZOV_LOG_MESSAGE(ZOVA0065I, _server.getName(), level, requestPercent());
    startedCollectingRequestData(true);
  }
  _requestLevel = level;
  _requestPercent = percent;
  _server.wakeupBackgroundProfilerMonitor();
  return ZOV_OK;
}

ZOVReturnCode CollectionSwitches::startDefaultRequestCollection() {
  ZOV_TRACE(Restricted);
  if (_server.isExcludedFromMonitoring()) return ZOV_SERVER_EXCLUDED;
  if (_reconfigured.exchange(false)) configure();
  const int action = _server.settings().requestCollectAction;
  if (action != CollectOnDemand && action != CollectByInterval) return 0;
  return processCollectRequest(_requestLevel, _requestPercent);
}

// --- Garbage collection data.

ZOVReturnCode CollectionSwitches::processGCCollectData(int action, int interval) {
  ZOV_TRACE(Public);
  if (_server.isExcludedFromMonitoring()) return ZOV_SERVER_EXCLUDED;
  if (!_session.isConnected()) return ZOV_PROFILING_NOT_ACTIVE;
  const RWCString file = _server.getGCLogFileInForce();
  if (file.isNull()) {
    if (!_missingFileTold.exchange(true)) {
      ZOV_LOG_ERROR(ZOVA0120E, _server.getName(), std::to_string(ZOV_NO_GC_FILE).c_str());
    }
    return ZOV_NO_GC_FILE;
  }
  _missingFileTold = false;

  long long refusal = 0;
  RWCString detail;
  const ZOVCollectGCData request(
      action == 0 ? ZOVCollectGCData::StopCollecting : ZOVCollectGCData::StartCollecting, file.data(),
      static_cast<unsigned int>(interval), ZOVCollectGCData::DiscardOldest, GCRecordsMaximum);
  ZOVReturnCode rc = _session.send(request, &refusal, &detail);
  if (rc != 0) {
    rc = reasonOf(rc, refusal);
    ZOV_LOG_ERROR(ZOVA0123E, _server.getName(), rc.getDescription(), detail);
    return rc;
  }
  if (action == 0) {
    ZOV_LOG_MESSAGE(ZOVA0124I, _server.getName());
    startedCollectingGCData(false);
    _server.markResourceAnchorsLogicallyDeleted(ZOVSample::DataSourceVerboseGC);
    _gcAction = 0;
    _gcInterval = DefaultGCInterval;
  } else {
    ZOV_LOG_MESSAGE(ZOVA0122I, _server.getName());
    startedCollectingGCData(true);
    _gcAction = action;
    _gcInterval = interval;
  }
  _server.wakeupBackgroundProfilerMonitor();
  return ZOV_OK;
}

ZOVReturnCode CollectionSwitches::startDefaultGCCollection() {
  ZOV_TRACE(Restricted);
  if (_server.isExcludedFromMonitoring()) return ZOV_SERVER_EXCLUDED;
  const int action = _gcAction;
  return action == static_cast<int>(_collectsGC) ? ZOVReturnCode(ZOV_OK)
                                                 : processGCCollectData(action, _gcInterval);
}

ZOVReturnCode CollectionSwitches::gcLogFileChanged() {
  ZOV_TRACE(Restricted);
  return _collectsGC ? processGCCollectData(_gcAction, _gcInterval) : startDefaultGCCollection();
}

ZOVReturnCode CollectionSwitches::suspendGC() {
  _gcAction = 0;
  return startDefaultGCCollection();
}

ZOVReturnCode CollectionSwitches::resumeGC() {
  _gcAction = 1;
  return startDefaultGCCollection();
}

}  // namespace zov
