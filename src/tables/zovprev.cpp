#include "tables/zovprev.h"

#include "agent/agent.h"
#include "collectors/product_event_collector.h"
#include "platform/trace.h"
#include "runtime/recovery.h"
#include "runtime/trace_scope.h"
#include "tables/event_row.h"

static DGT1_Unit traceUnit("ZOVTPREV");

ZOV_DEFINE_MANAGER(zovprev)

int zov_zovprev_init() {
  auto* manager = new zov_zovprev_manager;
  zov_zovprev_static_manager = manager;
  ZOVProductEventCollector::setEmitter(zov_zovprev_agent::emitEvent);
  return TableManager::RegisterWithManager(manager);
}

void zov_zovprev_agent::TakeSample() {
  ZOV_TRACE(Public);
  ZOVAgent* agent = ZOVAgent::current();
  if (agent == nullptr) return;
  ZOVSampleCallbackParms parms;
  parms.request = this;
  zov_zovprev_data_t row = {};
  ZOVEventQuery query(*this, *agent);
  guarded(ZOV_PLACE, [&] {
    const RWCString origin = query.readFilters();
    zovFillText(row.originnode, sizeof row.originnode,
                origin.isNull() ? agent->getCurrentSystemName().view() : origin.view());
    _row = &row;
    agent->getWorkloadAnalysisMessages();
    agent->getProductEventSamples(sampleCallback, &parms, nullptr);
  });
  _row = nullptr;
}

unsigned int zov_zovprev_agent::sampleCallback(ZOVSampleCallbackParms* parms, const void* sample,
                                               const ZOVApplicationServerBase* /*server*/) {
  auto* table = static_cast<zov_zovprev_agent*>(parms->request);
  setRow(table->_row, static_cast<const ZOVProductEventSample*>(sample));
  table->AddData(table->_row, 1);
  return 0;
}

unsigned int zov_zovprev_agent::emitEvent(const ZOVProductEventSample* sample,
                                          const ZOVApplicationServer* /*server*/) {
  ZOV_TRACE(Public);
  ZOVAgent* agent = ZOVAgent::current();
  if (agent == nullptr || zov_zovprev_static_manager.load() == nullptr) return ZOV_EVENT_ERROR;
  zov_zovprev_data_t row = {};
  zovFillText(row.originnode, sizeof row.originnode, agent->getCurrentSystemName().view());
  setRow(&row, sample);
  return zov_zovprev_manager::EventArrived(&row, 1) != 0 ? ZOV_EVENT_ERROR : ZOV_OK;
}

void zov_zovprev_agent::setRow(zov_zovprev_data_t* row, const ZOVProductEventSample* sample) {
  ZOVAgent* agent = ZOVAgent::current();
  zovFillUtf8(row->node_name, sizeof row->node_name,
              agent == nullptr ? std::string_view() : agent->getCurrentSystemName().view());
  ZOV_COPY_EVENT_TEXT(sample, copyTimeStamp, row->sdate_time);
  ZOV_COPY_EVENT_TEXT(sample, copyMsgId, row->msg_id);
  ZOV_COPY_EVENT_TEXT(sample, copyMsgDesc, row->msg_desc);
  ZOV_COPY_EVENT_TEXT(sample, copyFile, row->file);
  ZOV_COPY_EVENT_TEXT(sample, copyFunction, row->function);
  row->severity = sample->getSeverity();
  row->line = sample->getLine();
}
