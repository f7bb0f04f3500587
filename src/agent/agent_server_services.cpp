#include "agent/agent_server_services.h"

#include "agent/action_record.h"
#include "agent/agent.h"
#include "framework/process.h"
#include "remote/system_command_manager.h"
#include "runtime/trace_scope.h"
#include "server/application_server.h"

static DGT1_Unit traceUnit("ZOVCASVC");

namespace zov {

namespace {
/// How the framework is told that a node is a subnode of this agent.
constexpr int SubnodeKind = 2;
}  // namespace

ZOVAppServerConfigParms* AgentServerServices::getConfigParms(const char* name, const char* root) {
  return _agent.getConfigParms(name, root);
}

ZOVAgentConfigParms* AgentServerServices::getConfigParms() {
  return _agent.getConfigParms();
}

RWCString AgentServerServices::getSubsystemId() {
  return ARQ_GetSubsystemId();
}

RWCString AgentServerServices::getCurrentSystemName() {
  return _agent.getCurrentSystemName();
}

int AgentServerServices::isSubNodeNameUnique(const char* subnode) {
  ZOVApplicationContext* context = _agent.applicationContext();
  return context == nullptr || context->isSubNodeNameUnique(subnode);
}

ZOVReturnCode AgentServerServices::registerSubnode(const char* subnode, const char* affinity) {
  ZOV_TRACE(Public);
  if (ARQ_Subnode_Register_nAff(subnode, ZOVAgent::CommandPrefix, _agent.getAgentVersion().data(),
                                SubnodeKind, affinity, ZOVAgent::Feature) != 0 ||
      ARQ_Subnode_SendRequest() != 0) {
    return ZOV_SUBNODE_REGISTRATION;
  }
  return ZOV_OK;
}

ZOVReturnCode AgentServerServices::deregisterSubnode(const char* subnode) {
  ZOV_TRACE(Public);
  if (ARQ_Subnode_Deregister(subnode) != 0 || ARQ_Subnode_SendRequest() != 0) {
    return ZOV_SUBNODE_REGISTRATION;
  }
  return ZOV_OK;
}

void AgentServerServices::rewriteContextInfo() {
  if (ZOVApplicationContext* context = _agent.applicationContext()) context->rewriteContextInfo();
}

std::shared_ptr<ZOVApplicationServerBase> AgentServerServices::findServer(const RWCString& name,
                                                                          const RWCString& root) {
  ZOVApplicationContext* const context = _agent.applicationContext();
  return context ? context->findAppServer(name, root) : nullptr;
}

std::shared_ptr<ZOVResourceManagerProxy> AgentServerServices::resourceManager() {
  return _agent.resourceManagerProxy();
}

std::shared_ptr<ZOVLogFileCollector> AgentServerServices::logFileCollector() {
  return _agent.logFileCollector();
}

ZOVReturnCode AgentServerServices::queueSystemCommand(const ServerScript& script) {
  ZOVSystemCommandManager* const manager = _agent.systemCommandManager();
  if (manager == nullptr) return ZOV_UNABLE_TO_START_PROCESS;
  ServerScript watched = script;
  watched.observer = observeScript();
  return manager->QueueCommand(std::move(watched));
}

}  // namespace zov
