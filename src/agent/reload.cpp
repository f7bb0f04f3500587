// The configuration that is read while the agent runs, and what the service manager sees of it.

#include <algorithm>

#include "agent/agent.h"
#include "collectors/diagnostics.h"
#include "diag/agent_log.h"
#include "runtime/recovery.h"
#include "runtime/trace_scope.h"
#include "server/application_server.h"

static DGT1_Unit traceUnit("ZOVCRLOD");

namespace {

void tell(const zov::ConfigChange& change) {
  ZOV_FUNCTION;
  const char* const key = change.key.c_str();
  const char* const place = change.place.c_str();
  if (change.counts == zov::ConfigCounts::Restart) {
    ZOV_LOG_ERROR(ZOVA0191W, key, place, change.before.c_str(), change.after.c_str());
    return;
  }
  const char* const from =
      change.counts == zov::ConfigCounts::Now ? "now" : "the next session of each server";
  ZOV_LOG_MESSAGE(ZOVA0190I, key, place, change.before.c_str(), change.after.c_str(), from);
}

}  // namespace

void ZOVAgent::putInForce(std::unique_ptr<ZOVConfigParms> configuration) {
  _configParms = configuration.get();
  _configurations.push_back(std::move(configuration));
  productEventCollector().setMaxSamples(getConfigParms()->getLogFileMessagesMax());
}

void ZOVAgent::reloadConfiguration() {
  ZOV_TRACE(Public);
  auto fresh = std::make_unique<ZOVConfigParms>();
  fresh->readFromFile(_configFilePrefix.data());
  if (const std::string wrong = fresh->faults(); !wrong.empty()) {
    ZOV_LOG_ERROR(ZOVA0192E, wrong.c_str());
    return;
  }
  const std::vector<zov::ConfigChange> changes = fresh->keepWhatNeedsARestart(*_configParms);
  for (const zov::ConfigChange& change : changes) tell(change);
  const auto waiting = std::ranges::count(changes, zov::ConfigCounts::Restart, &zov::ConfigChange::counts);
  const auto counting = static_cast<long>(changes.size()) - waiting;
  if (counting > 0) {
    putInForce(std::move(fresh));
    for (const ZOVApplicationContext::Server& server : _applicationContext->getAppServers()) {
      guarded(ZOV_PLACE, [&] { server->reconfigure(); });
    }
  }
  ZOV_LOG_MESSAGE(ZOVA0193I, counting, waiting);
}

std::string ZOVAgent::statusLine() {
  int servers = 0;
  int connected = 0;
  _applicationContext->forEachAppServer([&](const ZOVApplicationContext::Server& server) {
    ++servers;
    if (server->getStatus() == ServerConnected) ++connected;
    return false;
  });
  return DGT1_FormatText("%d servers are known, %d connected", servers, connected);
}
