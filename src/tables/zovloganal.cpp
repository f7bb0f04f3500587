#include "tables/zovloganal.h"

#include "collectors/log_event_sample.h"
#include "platform/trace.h"
#include "runtime/recovery.h"
#include "runtime/trace_scope.h"
#include "server/application_server_base.h"
#include "tables/event_row.h"

static DGT1_Unit traceUnit("ZOVTLOGA");

ZOV_DEFINE_INIT(zovloganal);

void zov_zovloganal_agent::TakeSample() {
  ZOV_TRACE(Public);
  zov::TableServices* services = zov::TableServices::current();
  if (services == nullptr) return;
  ZOVSampleCallbackParms parms;
  parms.request = this;
  zov_zovloganal_data_t row = {};
  zov::EventQuery query(*this, *services);
  guarded(ZOV_PLACE, [&] {
    query.readFilters();
    _row = &row;
    ResetGetSubnode();
    for (const char* subnode = GetSubnode(); subnode != nullptr && *subnode != '\0'; subnode = GetSubnode()) {
      reportSubnode(subnode, services->getLogEvents(sampleCallback, &parms, subnode));
    }
  });
  _row = nullptr;
}

unsigned int zov_zovloganal_agent::sampleCallback(ZOVSampleCallbackParms* parms, const void* sample,
                                                  const ZOVApplicationServerBase* server) {
  auto* table = static_cast<zov_zovloganal_agent*>(parms->request);
  setRow(table->_row, static_cast<const ZOVLogEventSample*>(sample), server);
  table->AddData(table->_row, 1);
  return 0;
}

unsigned int zov_zovloganal_agent::emitEvent(const ZOVLogEventSample* sample,
                                             const ZOVApplicationServerBase* server) {
  ZOV_TRACE(Public);
  if (zov_zovloganal_static_manager.load() == nullptr) return ZOV_EVENT_ERROR;
  zov_zovloganal_data_t row = {};
  setRow(&row, sample, server);
  const ZOVReturnCode rc = zov_zovloganal_manager::EventArrived(&row, 1) != 0 ? ZOV_EVENT_ERROR : ZOV_OK;
  DGT1_Printf(traceUnit, DGT1_DETAIL, "Emitted ZOVLogEventSample event. RC: %s", rc.getDescription());
  return rc;
}

void zov_zovloganal_agent::setRow(zov_zovloganal_data_t* row, const ZOVLogEventSample* sample,
                                  const ZOVApplicationServerBase* server) {
  zov::TableServices* services = zov::TableServices::current();
  zov::fillUtf8(row->server_nam, sizeof row->server_nam, server == nullptr ? "" : server->getName().view());
  zov::fillText(row->originnode, sizeof row->originnode,
                server == nullptr ? "" : server->getSubnodeName().view());
  zov::fillUtf8(row->node_name, sizeof row->node_name,
                services == nullptr ? std::string_view() : services->nodeName().view());
  zov::copyEventText(*sample, &ZOVLogEventSample::copyTimeStamp, row->sdate_time);
  zov::copyEventText(*sample, &ZOVLogEventSample::copyThreadId, row->threadid);
  zov::copyEventText(*sample, &ZOVLogEventSample::copyComponent, row->component);
  zov::copyEventText(*sample, &ZOVLogEventSample::copyMessage, row->err_msg);
  zov::copyEventText(*sample, &ZOVLogEventSample::copyMsgId, row->msg_id);
  row->severity = sample->getSeverity();
  zov::copyEventText(*sample, &ZOVLogEventSample::copyJobName, row->job_name);
  zov::copyEventText(*sample, &ZOVLogEventSample::copyJobASID, row->job_asid);
  zov::copyEventText(*sample, &ZOVLogEventSample::copyProcessId, row->processid);
  zov::copyEventText(*sample, &ZOVLogEventSample::copyOrigin, row->origin);
  zov::copyEventText(*sample, &ZOVLogEventSample::copyServerInstanceName, row->srvi_name);
}
