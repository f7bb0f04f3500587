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
// The message of the two ages speaks of another parameter; readers of the log know it so.
constexpr Range CollectAge{0, 600, 0, ZOVA0039E};
constexpr Range RequestPollInterval{0, 999999, 0, ZOVA0036W};
constexpr Range ResourcePollInterval{0, 999999, 0, ZOVA0034W};
constexpr Range LogEvents{1, 1000, 10, ZOVA0039E};
constexpr Range LogScanInterval{1, 3600, 60, ZOVA0038W};

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
  settings.requestCollectAgeMax = checked(parms->getRequestCollectAgeMax(), CollectAge);
  settings.resourceCollectAgeMax = checked(parms->getResourceCollectAgeMax(), CollectAge);
  if (settings.requestCollectAction == CollectByInterval) {
    settings.pollInterval = checked(parms->getRequestCollectPollFrequency(), RequestPollInterval);
  }
  settings.resourceCollectAction = parms->getResourceCollectAction();
  if (settings.resourceCollectAction == CollectByInterval) {
    settings.resourcePollFrequency = checked(parms->getResourceCollectPollFrequency(), ResourcePollInterval);
  }
  settings.resourceCollectEnabled = parms->getResourceCollectEnabled() != 0;
  settings.gcCollectAction = parms->getGCCollectAction();
  settings.gcCollectInterval = parms->getGCCollectPollFrequency();
  settings.workloadCollectLevel = parms->getWorkloadCollectLevel();
  settings.workloadCapturePercent = parms->getWorkloadCapturePercent();
  settings.retainLogFileEvents = checked(parms->getRetainLogFileEvents(), LogEvents);
  settings.logFormat = parms->getLogFormat();
  settings.logScanInterval = checked(parms->getLogScanInterval(), LogScanInterval);
  return settings;
}

}  // namespace zov
