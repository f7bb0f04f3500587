// ZOVBSMQM: a row for each of the mail service's queues; a sample tells of all of them.

#include "tables/families.h"

ZOV_SAMPLE_TABLE_AGENT(zovbsmqm)
protected:
void emitRows(void* bytes, const ZOVSample& sample, const ZOVApplicationServerBase& /*server*/) override {
  constexpr int Queues = 8, KeysOfAQueue = 4;
  auto& row = *static_cast<zov_zovbsmqm_data_t*>(bytes);
  int key = zov::key::mail_queue_a_ready;
  static_assert(zov::key::mail_queue_a_ready + Queues * KeysOfAQueue - 1 == zov::key::mail_queue_h_dead);
  for (row.queue = 1; row.queue <= Queues; ++row.queue) {
    for (std::int32_t* column : {&row.ready, &row.unproc, &row.retry, &row.dead}) {
      *column = static_cast<std::int32_t>(sample.getNumericData(key++));
    }
    emitRow();
  }
}
}
;

ZOV_DEFINE_INIT(zovbsmqm);
