// ZOVAPSST: the status of every server that is known, from the server objects themselves. Read once per
// request.

#include "agent/agent.h"
#include "platform/trace.h"
#include "runtime/recovery.h"
#include "runtime/time.h"
#include "runtime/trace_scope.h"
#include "server/application_server.h"
#include "tables/event_row.h"

#define ZOV_STEM zovapsst
#define ZOV_COLUMNS "tables/columns/zovapsst.def"
#define ZOV_BASE ZOVTable
#include "tables/define_table.inc"

static DGT1_Unit traceUnit("ZOVTAPST");

class zov_zovapsst_agent : public zov_zovapsst_base {
 public:
  using zov_zovapsst_base::zov_zovapsst_base;
  void TakeSample() override;
  void TakeSampleConstructor() {}

 private:
  void fillCommonColumns(zov_zovapsst_data_t& row, const RWCString& origin, ZOVAgent& agent);
  void addServer(zov_zovapsst_data_t& row, const ZOVApplicationServerBase& server);
  static void determineStartTime(zov_zovapsst_data_t& row, long long milliseconds);
};

ZOV_DEFINE_INIT(zovapsst);

void zov_zovapsst_agent::TakeSample() {
  ZOV_TRACE(Public);
  ZOVAgent* agent = ZOVAgent::current();
  if (agent == nullptr || agent->applicationContext() == nullptr) return;
  zov_zovapsst_data_t row = {};
  ZOVEventQuery query(*this, *agent);
  guarded(ZOV_PLACE, [&] {
    fillCommonColumns(row, query.readFilters(), *agent);
    const RWCString& wanted = query.text("SERVER_NAM");
    agent->applicationContext()->forEachAppServer([&](const ZOVApplicationContext::Server& server) {
      if (wanted.isNull() || server->getName() == wanted) addServer(row, *server);
      return false;
    });
  });
}

void zov_zovapsst_agent::fillCommonColumns(zov_zovapsst_data_t& row, const RWCString& origin,
                                           ZOVAgent& agent) {
  const RWCString systemName = agent.getCurrentSystemName();
  char now[17] = "";
  ZOVTime::currentTime().getCTTime(now, sizeof now);
  zovFillText(row.sdate_time, sizeof row.sdate_time, now);
  zovFillText(row.originnode, sizeof row.originnode, origin.isNull() ? systemName.view() : origin.view());
  zovFillUtf8(row.node_name, sizeof row.node_name, systemName.view());
}

void zov_zovapsst_agent::addServer(zov_zovapsst_data_t& row, const ZOVApplicationServerBase& server) {
  zovFillUtf8(row.server_nam, sizeof row.server_nam, server.getName().view());
  row.status = server.getStatus();
  row.type = server.getAppServerType();
  const bool connected = row.status == ServerConnected;
  row.pid = connected ? static_cast<std::int32_t>(server.getProcessId()) : -1;
  determineStartTime(row, connected ? server.getAppServerStartTime() : -1);
  zovFillUtf8(row.srvgrp_nam, sizeof row.srvgrp_nam, server.getClusterName().view());
  zovFillUtf8(row.tsl_nnam, sizeof row.tsl_nnam, server.getTSLNodeName().view());
  zovFillUtf8(row.tsl_cnam, sizeof row.tsl_cnam, server.getTSLCellName().view());
  zovFillUtf8(row.tsl_rnam, sizeof row.tsl_rnam, server.getServerRootDirectory().view());
  AddData(&row, 1);
}

void zov_zovapsst_agent::determineStartTime(zov_zovapsst_data_t& row, long long milliseconds) {
  char text[20] = "";
  if (milliseconds == 0) {
    DGT1_Printf(traceUnit, DGT1_DETAIL, "Invalid AppServer StartTime encountered");
  } else if (milliseconds != -1) {
    ZOVTime time;
    time.convertFromJavaTime(milliseconds);
    time.getCTTime(text, sizeof text);
  }
  zovFillText(row.stdate_tim, sizeof row.stdate_tim, text);
}
