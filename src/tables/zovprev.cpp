#include "tables/zovprev.h"

#include "collectors/product_event_collector.h"
#include "platform/trace.h"
#include "runtime/recovery.h"
#include "runtime/trace_scope.h"
#include "tables/event_row.h"

static DGT1_Unit traceUnit("ZOVTPREV");

ZOV_DEFINE_INIT(zovprev);

static_assert(sizeof(zov_zovprev_data_t::msg_desc) == zov::MaximumEventText);

void zov_zovprev_agent::TakeSample() {
  ZOV_TRACE(Public);
  zov::TableServices* services = zov::TableServices::current();
  if (services == nullptr) return;
  ZOVSampleCallbackParms parms;
  parms.request = this;
  zov_zovprev_data_t row = {};
  zov::EventQuery query(*this, *services);
  guarded(ZOV_PLACE, [&] {
    const RWCString origin = query.readFilters();
    zov::fillText(row.originnode, sizeof row.originnode,
                  origin.isNull() ? services->nodeName().view() : origin.view());
    _row = &row;
    services->getProductEvents(sampleCallback, &parms);
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
                                          const ZOVApplicationServerBase* /*server*/) {
  ZOV_TRACE(Public);
  zov::TableServices* services = zov::TableServices::current();
  if (services == nullptr || zov_zovprev_static_manager.load() == nullptr) return ZOV_EVENT_ERROR;
  zov_zovprev_data_t row = {};
  zov::fillText(row.originnode, sizeof row.originnode, services->nodeName().view());
  setRow(&row, sample);
  return zov_zovprev_manager::EventArrived(&row, 1) != 0 ? ZOV_EVENT_ERROR : ZOV_OK;
}

void zov_zovprev_agent::setRow(zov_zovprev_data_t* row, const ZOVProductEventSample* sample) {
  zov::TableServices* services = zov::TableServices::current();
  zov::fillUtf8(row->node_name, sizeof row->node_name,
                services == nullptr ? std::string_view() : services->nodeName().view());
  zov::copyEventText(*sample, &ZOVProductEventSample::copyTimeStamp, row->sdate_time);
  zov::copyEventText(*sample, &ZOVProductEventSample::copyMsgId, row->msg_id);
  zov::copyEventText(*sample, &ZOVProductEventSample::copyMsgDesc, row->msg_desc);
  zov::copyEventText(*sample, &ZOVProductEventSample::copyFile, row->file);
  zov::copyEventText(*sample, &ZOVProductEventSample::copyFunction, row->function);
  row->severity = sample->getSeverity();
  row->line = sample->getLine();
}
