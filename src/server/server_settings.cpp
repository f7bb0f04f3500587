#include "server/server_settings.h"

#include "config/agent_config_parms.h"
#include "config/server_config_parms.h"
#include "diag/agent_log.h"
#include "runtime/trace_scope.h"

static DGT1_Unit traceUnit("ZOVASSET");

namespace zov {

namespace {

struct Range {
  int minimum, maximum, defaultValue;
  ZOVMessageNumber message;  // names the value, the server and the default
};
#define ZOV_SERVER_RANGE(Name, minimum, maximum, fallback, message) \
  constexpr Range Name{minimum, maximum, fallback, message};
#include "config/ranges.def"

int validateConfigValue(int value, const Range& range, const RWCString& serverName) {
  ZOV_FUNCTION;
  if (value >= range.minimum && value <= range.maximum) return value;
  ZOV_LOG_ERROR(range.message, value, serverName, range.defaultValue);
  return range.defaultValue;
}

}  // namespace

ServerSettings ServerSettings::read(const ZOVAppServerConfigParms* parms, const ZOVAgentConfigParms* agent,
                                    const RWCString& serverName) {
  ZOV_TRACE(Private);
  ServerSettings settings;
  if (agent) settings.socketReceiveTimeout = agent->getSocketReceiveTimeout();
  if (!parms) return settings;
  const auto checked = [&](int value, const Range& range) {
    return validateConfigValue(value, range, serverName);
  };
  settings.historicalCollection = parms->getHistoricalCollectionFlag();
  settings.retainHistory = parms->getRetainHistory();
  settings.requestCollectAction = parms->getRequestCollectAction();
  settings.requestCollectAgeMax = checked(parms->getRequestCollectAgeMax(), RequestCollectAgeMax);
  settings.resourceCollectAgeMax = checked(parms->getResourceCollectAgeMax(), ResourceCollectAgeMax);
  if (settings.requestCollectAction == CollectByInterval) {
    settings.pollInterval = checked(parms->getRequestCollectPollFrequency(), RequestCollectPollFrequency);
  }
  settings.resourceCollectAction = parms->getResourceCollectAction();
  if (settings.resourceCollectAction == CollectByInterval) {
    settings.resourcePollFrequency =
        checked(parms->getResourceCollectPollFrequency(), ResourceCollectPollFrequency);
  }
  settings.resourceCollectEnabled = parms->getResourceCollectEnabled() != 0;
  settings.gcCollectAction = parms->getGCCollectAction();
  settings.gcCollectInterval = parms->getGCCollectPollFrequency();
  settings.workloadCollectLevel = parms->getWorkloadCollectLevel();
  settings.workloadCapturePercent = parms->getWorkloadCapturePercent();
  settings.retainLogFileEvents = checked(parms->getRetainLogFileEvents(), RetainLogFileEvents);
  settings.logFormat = parms->getLogFormat();
  settings.logScanInterval = checked(parms->getLogScanInterval(), LogScanInterval);
  return settings;
}

}  // namespace zov
