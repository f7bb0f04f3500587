#pragma once
// ZOVAgentServerServices: what monitored servers get of the agent: its configuration, names, context,
// framework and tasks. Registered from construction to destruction. Any thread may call; a component that
// does not exist yet, or any more, is answered as absent.

#include "server/server_services.h"

class ZOVAgent;

class ZOVAgentServerServices : public ZOVServerServices {
 public:
  /// The agent must outlive this.
  explicit ZOVAgentServerServices(ZOVAgent& agent) : _agent(agent) { setCurrent(this); }
  ~ZOVAgentServerServices() override { setCurrent(nullptr); }
  ZOVAgentServerServices(const ZOVAgentServerServices&) = delete;
  ZOVAgentServerServices& operator=(const ZOVAgentServerServices&) = delete;

  ZOVAppServerConfigParms* getConfigParms(const char* name, const char* root) override;
  ZOVAgentConfigParms* getConfigParms() override;
  RWCString getSubsystemId() override;
  RWCString getCurrentSystemName() override;
  int isSubNodeNameUnique(const char* subnode) override;
  ZOVReturnCode registerSubnode(const char* subnode, const char* affinity) override;
  ZOVReturnCode deregisterSubnode(const char* subnode) override;
  void rewriteContextInfo() override;
  std::shared_ptr<ZOVResourceManagerProxy> resourceManager() override;
  void queueSystemCommand(const RWCString& path, const RWCString& command,
                          const RWCString& arguments) override;

 private:
  ZOVAgent& _agent;
};
