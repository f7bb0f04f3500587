#pragma once
// ZOVHouseKeeper: drops resources that have not reported for long, from all servers: once when it starts, and
// then 15 minutes after the end of each pass. A failed pass costs that pass only.

#include "runtime/task.h"

class ZOVAgent;

class ZOVHouseKeeper : public ZOVAsynchronousTask {
 public:
  /// The agent must outlive this.
  explicit ZOVHouseKeeper(ZOVAgent& agent) : ZOVAsynchronousTask("HouseKeeper"), _agent(agent) {}
  ~ZOVHouseKeeper() override { shutdown(); }

  void backgroundProcessing() override;

 private:
  ZOVAgent& _agent;
};
