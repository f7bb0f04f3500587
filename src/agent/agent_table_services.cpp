#include "agent/agent_table_services.h"

#include "agent/agent.h"
#include "diag/component_trace.h"
#include "server/application_server.h"

namespace zov {

RWCString AgentTableServices::nodeName() {
  return _agent.getCurrentSystemName();
}

unsigned int AgentTableServices::getSamples(ZOVSampleCallback callback, ZOVSampleCallbackParms* parms,
                                            const char* subnode, const ZOVResourceAnchor* anchor,
                                            _SaveSampleType saveType, GetNewSample getNew) {
  return _agent.getSamples(callback, parms, subnode, anchor, saveType, getNew);
}

unsigned int AgentTableServices::getLogEvents(ZOVSampleCallback callback, ZOVSampleCallbackParms* parms,
                                              const char* subnode) {
  return _agent.getLogFileSamples(callback, parms, subnode);
}

void AgentTableServices::getProductEvents(ZOVSampleCallback callback, ZOVSampleCallbackParms* parms) {
  _agent.getWorkloadAnalysisMessages();
  _agent.getProductEventSamples(callback, parms, nullptr);
}

void AgentTableServices::forEachServer(const std::function<void(const ZOVApplicationServerBase&)>& visit) {
  ZOVApplicationContext* context = _agent.applicationContext();
  if (context == nullptr) return;
  context->forEachAppServer([&](const ZOVApplicationContext::Server& server) {
    visit(*server);
    return false;
  });
}

void AgentTableServices::saveTraceEntry(std::unique_ptr<ZOVAgentFrameworkComponentTraceEntry> entry) {
  if (_agent.saveComponentTraceEntry(entry.get()) != 0) static_cast<void>(entry.release());
}

}  // namespace zov
