#include "agent/agent_server_services.h"

#include "agent/agent.h"
#include "framework/process.h"
#include "remote/system_command_manager.h"
#include "runtime/trace_scope.h"

static DGT1_Unit traceUnit("ZOVCASVC");

namespace {
/// How the framework is told that a node is a subnode of this agent.
constexpr int SubnodeKind = 2;
}  // namespace

ZOVAppServerConfigParms* ZOVAgentServerServices::getConfigParms(const char* name, const char* root) {
  return _agent.getConfigParms(name, root);
}

ZOVAgentConfigParms* ZOVAgentServerServices::getConfigParms() {
  return _agent.getConfigParms();
}

RWCString ZOVAgentServerServices::getSubsystemId() {
  return ARQ_GetSubsystemId();
}

RWCString ZOVAgentServerServices::getCurrentSystemName() {
  return _agent.getCurrentSystemName();
}

int ZOVAgentServerServices::isSubNodeNameUnique(const char* subnode) {
  ZOVApplicationContext* context = _agent.applicationContext();
  return context == nullptr || context->isSubNodeNameUnique(subnode);
}

ZOVReturnCode ZOVAgentServerServices::registerSubnode(const char* subnode, const char* affinity) {
  ZOV_TRACE(Public);
  if (ARQ_Subnode_Register_nAff(subnode, ZOVAgent::CommandPrefix, _agent.getAgentVersion().data(),
                                SubnodeKind, affinity, ZOVAgent::Feature) != 0 ||
      ARQ_Subnode_SendRequest() != 0) {
    return ZOV_SUBNODE_REGISTRATION;
  }
  return ZOV_OK;
}

ZOVReturnCode ZOVAgentServerServices::deregisterSubnode(const char* subnode) {
  ZOV_TRACE(Public);
  if (ARQ_Subnode_Deregister(subnode) != 0 || ARQ_Subnode_SendRequest() != 0) {
    return ZOV_SUBNODE_REGISTRATION;
  }
  return ZOV_OK;
}

void ZOVAgentServerServices::rewriteContextInfo() {
  if (ZOVApplicationContext* context = _agent.applicationContext()) context->rewriteContextInfo();
}

std::shared_ptr<ZOVResourceManagerProxy> ZOVAgentServerServices::resourceManager() {
  return _agent.resourceManagerProxy();
}

void ZOVAgentServerServices::queueSystemCommand(const RWCString& path, const RWCString& command,
                                                const RWCString& arguments) {
  if (ZOVSystemCommandManager* manager = _agent.systemCommandManager()) {
    manager->QueueCommand(path, command, arguments);
  }
}
