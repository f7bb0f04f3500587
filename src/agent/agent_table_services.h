#pragma once
// AgentTableServices: what the tables get of the agent: its walks over the servers, its name, its component
// trace. Registered from construction to destruction. Any thread may call; a component that does not exist
// yet, or any more, is answered as absent.

#include "tables/table_services.h"

class ZOVAgent;

namespace zov {

class AgentTableServices : public TableServices {
 public:
  /// The agent must outlive this.
  explicit AgentTableServices(ZOVAgent& agent) : _agent(agent) { setCurrent(this); }
  ~AgentTableServices() override { setCurrent(nullptr); }
  AgentTableServices(const AgentTableServices&) = delete;
  AgentTableServices& operator=(const AgentTableServices&) = delete;

  RWCString nodeName() override;
  unsigned int getSamples(ZOVSampleCallback callback, ZOVSampleCallbackParms* parms, const char* subnode,
                          const ZOVResourceAnchor* anchor, _SaveSampleType saveType,
                          GetNewSample getNew) override;
  unsigned int getLogEvents(ZOVSampleCallback callback, ZOVSampleCallbackParms* parms,
                            const char* subnode) override;
  void getProductEvents(ZOVSampleCallback callback, ZOVSampleCallbackParms* parms) override;
  void forEachServer(const std::function<void(const ZOVApplicationServerBase&)>& visit) override;
  void saveTraceEntry(std::unique_ptr<ZOVAgentFrameworkComponentTraceEntry> entry) override;

 private:
  ZOVAgent& _agent;
};

}  // namespace zov
