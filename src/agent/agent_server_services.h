#pragma once
// AgentServerServices: what monitored servers get of the agent: its configuration, names, context,
// framework and tasks. Registered from construction to destruction. Any thread may call; a component that
// does not exist yet, or any more, is answered as absent.

#include "server/server_services.h"

class ZOVAgent;

namespace zov {

class AgentServerServices : public ZOVServerServices {
 public:
  /// The agent must outlive this.
  explicit AgentServerServices(ZOVAgent& agent) : _agent(agent) { setCurrent(this); }
  ~AgentServerServices() override { setCurrent(nullptr); }
  AgentServerServices(const AgentServerServices&) = delete;
  AgentServerServices& operator=(const AgentServerServices&) = delete;

  ZOVAppServerConfigParms* getConfigParms(const char* name, const char* root) override;
  ZOVAgentConfigParms* getConfigParms() override;
  RWCString getSubsystemId() override;
  RWCString getCurrentSystemName() override;
  int isSubNodeNameUnique(const char* subnode) override;
  ZOVReturnCode registerSubnode(const char* subnode, const char* affinity) override;
  ZOVReturnCode deregisterSubnode(const char* subnode) override;
  void rewriteContextInfo() override;
  std::shared_ptr<ZOVApplicationServerBase> findServer(const RWCString& name, const RWCString& root) override;
  std::shared_ptr<ZOVResourceManagerProxy> resourceManager() override;
  std::shared_ptr<ZOVLogFileCollector> logFileCollector() override;
  ZOVReturnCode queueSystemCommand(const zov::ServerScript& script) override;

 private:
  ZOVAgent& _agent;
};

}  // namespace zov
