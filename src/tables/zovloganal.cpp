#include "tables/zovloganal.h"

#include "agent/agent.h"
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
  ZOVAgent* agent = ZOVAgent::current();
  if (agent == nullptr) return;
  ZOVSampleCallbackParms parms;
  parms.request = this;
  zov_zovloganal_data_t row = {};
  ZOVEventQuery query(*this, *agent);
  guarded(ZOV_PLACE, [&] {
    query.readFilters();
    _row = &row;
    ResetGetSubnode();
    for (const char* subnode = GetSubnode(); subnode != nullptr && *subnode != '\0'; subnode = GetSubnode()) {
      agent->getLogFileSamples(sampleCallback, &parms, subnode);
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
  ZOVAgent* agent = ZOVAgent::current();
  zovFillUtf8(row->server_nam, sizeof row->server_nam, server == nullptr ? "" : server->getName().view());
  zovFillText(row->originnode, sizeof row->originnode,
              server == nullptr ? "" : server->getSubnodeName().view());
  zovFillUtf8(row->node_name, sizeof row->node_name,
              agent == nullptr ? std::string_view() : agent->getCurrentSystemName().view());
  ZOV_COPY_EVENT_TEXT(sample, copyTimeStamp, row->sdate_time);
  ZOV_COPY_EVENT_TEXT(sample, copyThreadId, row->threadid);
  ZOV_COPY_EVENT_TEXT(sample, copyComponent, row->component);
  ZOV_COPY_EVENT_TEXT(sample, copyMessage, row->err_msg);
  ZOV_COPY_EVENT_TEXT(sample, copyMsgId, row->msg_id);
  row->severity = sample->getSeverity();
  ZOV_COPY_EVENT_TEXT(sample, copyJobName, row->job_name);
  ZOV_COPY_EVENT_TEXT(sample, copyJobASID, row->job_asid);
  ZOV_COPY_EVENT_TEXT(sample, copyProcessId, row->processid);
  ZOV_COPY_EVENT_TEXT(sample, copyOrigin, row->origin);
  ZOV_COPY_EVENT_TEXT(sample, copyServerInstanceName, row->srvi_name);
}
