#include "agent/house_keeper.h"

#include "agent/agent.h"
#include "runtime/recovery.h"
#include "runtime/shutdown_probe.h"
#include "runtime/trace_scope.h"
#include "runtime/waits.h"

static DGT1_Unit traceUnit("ZOVCHKPR");

void ZOVHouseKeeper::backgroundProcessing() {
  ZOV_TRACE(Public);
  startupCompleted(1);
  DGT1_Printf(traceUnit, DGT1_ERROR, "Starting housekeeping thread");
  while (!isShutdownRequested()) {
    if (::isShutdownRequested()) {
      requestShutdown();
      return;
    }
    guarded(ZOV_PLACE, [this] {
      for (const ZOVSample::_DataSource source :
           {ZOVSample::DataSourceResource, ZOVSample::DataSourceProfiler, ZOVSample::DataSourceWorkload,
            ZOVSample::DataSourceVerboseGC}) {
        _agent.removeObsoleteResourceAnchorsByTime(source);
      }
    });
    _shutdownEvent.waitWithTimeout(zovWaits().houseKeepingSeconds);
  }
}
