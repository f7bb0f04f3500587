// ZOVDATAS: one row for each data source that was used in the last interval.

#include "tables/computed_values.h"
#include "tables/families.h"

ZOV_SAMPLE_TABLE_AGENT(zovdatas)
protected:
void computeColumns(void* bytes, const ZOVSample& sample,
                    const ZOVApplicationServerBase& /*server*/) override {
  static_cast<zov_zovdatas_data_t*>(bytes)->tot_wait = static_cast<std::int32_t>(
      zov::sumOfKnown(sample, {zov::key::connection_wait_time, zov::key::query_time, zov::key::update_time}));
}
}
;

ZOV_DEFINE_INIT(zovdatas);
