// What a server's collector and statistics are told to collect.

#include "diag/agent_log.h"
#include "runtime/trace_scope.h"
#include "server/application_server.h"
#include "transport/collect_gc_data.h"
#include "transport/collect_workload.h"

static DGT1_Unit traceUnit("ZOVASCOL");

namespace {

constexpr unsigned int GCRecordsMaximum = 200;
constexpr int DefaultGCInterval = 60;  // seconds

/// The reason behind a refusal is the collector's own code, when it gave one.
ZOVReturnCode reasonOf(const ZOVReturnCode& rc, long long refusal) {
  return rc == ZOV_INVALID_RESPONSE && refusal != 0 ? ZOVReturnCode(static_cast<unsigned int>(refusal)) : rc;
}

}  // namespace

void ZOVApplicationServer::startedCollectingRequestData(int flag) {
  mCollectingRequestData = flag;
  wakeupBackgroundProfilerMonitor();
}

void ZOVApplicationServer::startedCollectingGCData(int flag) {
  _collectingGCData = flag;
  wakeupBackgroundProfilerMonitor();
}

// --- Request data.

ZOVReturnCode ZOVApplicationServer::processCollectRequest(int level, int percent) {
  ZOV_TRACE(Public);
  if (isExcludedFromMonitoring()) return ZOV_SERVER_EXCLUDED;
  if (!isConnectedWithProfiler()) return ZOV_PROFILING_NOT_ACTIVE;
  if (level < 0) level = _workloadCollectLevel;
  if (percent < 0) percent = _workloadCapturePercent;

  long long refusal = 0;
  RWCString detail;
  const char* const classTypes = level == 0 ? "" : ZOVCollectWorkload::AllCollectClassTypes;
  const ZOVCollectWorkload request(classTypes, "", level, percent, ZOVCollectWorkload::CollectDefaultCalls,
                                   0);
  ZOVReturnCode rc = sendProfilerCollectionRequest(request, &refusal, &detail);
  if (rc != 0) {
    rc = reasonOf(rc, refusal);
    ZOV_LOG_ERROR(ZOVA0073E, getName(), level, percent, rc.getDescription(), detail);
    return rc;
  }
  if (level < 1) {
    ZOV_LOG_MESSAGE(ZOVA0066I, getName());
    startedCollectingRequestData(0);
    markResourceAnchorsLogicallyDeleted(ZOVSample::DataSourceWorkload);
  } else {
    ZOV_LOG_MESSAGE(ZOVA0065I, getName(), level, percent);
    startedCollectingRequestData(1);
  }
  _workloadCollectLevel = level;
  _workloadCapturePercent = percent;
  wakeupBackgroundProfilerMonitor();
  return 0;
}

ZOVReturnCode ZOVApplicationServer::startDefaultRequestCollection() {
  ZOV_TRACE(Restricted);
  if (isExcludedFromMonitoring()) return ZOV_SERVER_EXCLUDED;
  const int action = settings().requestCollectAction;
  if (action != zov::CollectOnDemand && action != zov::CollectByInterval) return 0;
  return processCollectRequest(_workloadCollectLevel, _workloadCapturePercent);
}

// --- Garbage collection data.

ZOVReturnCode ZOVApplicationServer::processGCCollectData(int action, int interval) {
  ZOV_TRACE(Public);
  if (isExcludedFromMonitoring()) return ZOV_SERVER_EXCLUDED;
  if (!isConnectedWithProfiler()) return ZOV_PROFILING_NOT_ACTIVE;
  RWCString file = getVerboseGCLogFileName();
  if (file.isNull()) file = getErrLogFileName();
  if (file.isNull()) {
    ZOV_LOG_ERROR(ZOVA0120E, getName(), std::to_string(ZOV_NO_GC_FILE).c_str());
    return ZOV_NO_GC_FILE;
  }

  long long refusal = 0;
  RWCString detail;
  const ZOVCollectGCData request(
      action == 0 ? ZOVCollectGCData::StopCollecting : ZOVCollectGCData::StartCollecting, file.data(),
      static_cast<unsigned int>(interval), ZOVCollectGCData::DiscardOldest, GCRecordsMaximum);
  ZOVReturnCode rc = sendProfilerCollectionRequest(request, &refusal, &detail);
  if (rc != 0) {
    rc = reasonOf(rc, refusal);
    ZOV_LOG_ERROR(ZOVA0123E, getName(), rc.getDescription(), detail);
    return rc;
  }
  if (action == 0) {
    ZOV_LOG_MESSAGE(ZOVA0124I, getName());
    startedCollectingGCData(0);
    markResourceAnchorsLogicallyDeleted(ZOVSample::DataSourceVerboseGC);
    _gcCollectAction = 0;
    _gcCollectInterval = DefaultGCInterval;
  } else {
    ZOV_LOG_MESSAGE(ZOVA0122I, getName());
    startedCollectingGCData(1);
    _gcCollectAction = action;
    _gcCollectInterval = interval;
  }
  wakeupBackgroundProfilerMonitor();
  return 0;
}

ZOVReturnCode ZOVApplicationServer::startDefaultGCCollection() {
  ZOV_TRACE(Restricted);
  if (isExcludedFromMonitoring()) return ZOV_SERVER_EXCLUDED;
  const int action = _gcCollectAction;
  return action == _collectingGCData ? ZOVReturnCode(0) : processGCCollectData(action, _gcCollectInterval);
}

ZOVReturnCode ZOVApplicationServer::suspendCollectingGCData() {
  _gcCollectAction = 0;
  return startDefaultGCCollection();
}

ZOVReturnCode ZOVApplicationServer::resumeCollectingGCData() {
  _gcCollectAction = 1;
  return startDefaultGCCollection();
}
