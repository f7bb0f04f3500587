// ZOVAPSRV: one row for each server, with process and JVM figures.

#include "platform/trace.h"
#include "runtime/time.h"
#include "samples/sample_classes.h"
#include "server/application_server_base.h"
#include "tables/computed_values.h"
#include "tables/families.h"

static DGT1_Unit traceUnit("ZOVTAPSR");

ZOV_SAMPLE_TABLE_AGENT(zovapsrv)
protected:
void computeColumns(void* bytes, const ZOVSample& sample, const ZOVApplicationServerBase& server) override {
  auto& row = *static_cast<zov_zovapsrv_data_t*>(bytes);
  fillStartTime(row, server.getAppServerStartTime());
  row.as_cpup = cpuPercent(row, sample.getNumericData(zov::key::cpu_time));
  row.srv_type = server.getAppServerType();
  row.req_mon = server.getRequestCollectLevel();
  row.req_srate = server.getRequestCapturePercent();
  row.res_mon = server.isResourceDataCollected() ? 1 : 0;
  row.gc_mon = server.collectingGCData() ? 1 : 0;
  fillVersion(row, server);
}

private:
static void fillStartTime(zov_zovapsrv_data_t& row, long long milliseconds) {
  zov::fillText(row.stdate_tim, sizeof row.stdate_tim, "");
  if (milliseconds == 0) {
    DGT1_Printf(traceUnit, DGT1_DETAIL, "Zero AppServer StartTime encountered");
    milliseconds = -1;
  }
  if (milliseconds == -1) {
    DGT1_Printf(traceUnit, DGT1_DETAIL, "Missing AppServer StartTime value");
    return;
  }
  char text[20] = "";
  ZOVTime time;
  time.convertFromJavaTime(milliseconds);
  time.getCTTime(text, sizeof text);
  zov::fillText(row.stdate_tim, sizeof row.stdate_tim, text);
}
static std::int32_t cpuPercent(const zov_zovapsrv_data_t& row, long long cpu) {
  if (row.int_time < 1 || cpu == -1) return -1;
  return static_cast<std::int32_t>(cpu / (row.int_time * ZOVAppServerSample::getNumProcessors()));
}
static void fillVersion(zov_zovapsrv_data_t& row, const ZOVApplicationServerBase& server) {
  const RWCString version = zov::platformOf(server);
  if (version.isNull()) {
    DGT1_Printf(traceUnit, DGT1_DETAIL, "Java property not found for appserver.platform");
  }
  zov::fillUtf8(row.tsl_vers, sizeof row.tsl_vers, version.view());
}
}
;

ZOV_DEFINE_INIT(zovapsrv);
