// ZOVAPSST: the status of every server that is known, from the server objects themselves. Read once per
// request.

#include "platform/trace.h"
#include "runtime/recovery.h"
#include "runtime/time.h"
#include "runtime/trace_scope.h"
#include "server/application_server_base.h"
#include "tables/event_row.h"
#include "tables/families.h"

static DGT1_Unit traceUnit("ZOVTAPST");

class zov_zovapsst_agent : public zov_zovapsst_base {
 public:
  using zov_zovapsst_base::zov_zovapsst_base;
  void TakeSample() override;
  void TakeSampleConstructor() {}

 private:
  static void fillCommonColumns(zov_zovapsst_data_t& row, const RWCString& origin, const RWCString& node);
  void addServer(zov_zovapsst_data_t& row, const ZOVApplicationServerBase& server);
  static void determineStartTime(zov_zovapsst_data_t& row, long long milliseconds);
};

ZOV_DEFINE_INIT(zovapsst);

void zov_zovapsst_agent::TakeSample() {
  ZOV_TRACE(Public);
  zov::TableServices* services = zov::TableServices::current();
  if (services == nullptr) return;
  zov_zovapsst_data_t row = {};
  zov::EventQuery query(*this, *services);
  guarded(ZOV_PLACE, [&] {
    fillCommonColumns(row, query.readFilters(), services->nodeName());
    const RWCString& wanted = query.text("SERVER_NAM");
    services->forEachServer([&](const ZOVApplicationServerBase& server) {
      if (wanted.isNull() || server.getName() == wanted) addServer(row, server);
    });
  });
}

void zov_zovapsst_agent::fillCommonColumns(zov_zovapsst_data_t& row, const RWCString& origin,
                                           const RWCString& node) {
  char now[17] = "";
  ZOVTime::currentTime().getCTTime(now, sizeof now);
  zov::fillText(row.sdate_time, sizeof row.sdate_time, now);
  zov::fillText(row.originnode, sizeof row.originnode, origin.isNull() ? node.view() : origin.view());
  zov::fillUtf8(row.node_name, sizeof row.node_name, node.view());
}

void zov_zovapsst_agent::addServer(zov_zovapsst_data_t& row, const ZOVApplicationServerBase& server) {
  zov::fillUtf8(row.server_nam, sizeof row.server_nam, server.getName().view());
  row.status = server.getStatus();
  row.type = server.getAppServerType();
  const bool connected = row.status == ServerConnected;
  row.pid = connected ? static_cast<std::int32_t>(server.getProcessId()) : -1;
  determineStartTime(row, connected ? server.getAppServerStartTime() : -1);
  zov::fillUtf8(row.srvgrp_nam, sizeof row.srvgrp_nam, server.getClusterName().view());
  zov::fillUtf8(row.tsl_nnam, sizeof row.tsl_nnam, server.getTSLNodeName().view());
  zov::fillUtf8(row.tsl_cnam, sizeof row.tsl_cnam, server.getTSLCellName().view());
  zov::fillUtf8(row.tsl_rnam, sizeof row.tsl_rnam, server.getServerRootDirectory().view());
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
  zov::fillText(row.stdate_tim, sizeof row.stdate_tim, text);
}
