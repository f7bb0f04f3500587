// ZOVJMSSUM: one row for each message queue that was used in the last interval.

#include "tables/computed_values.h"
#include "tables/families.h"

ZOV_SAMPLE_TABLE_AGENT(zovjmssum)
protected:
void computeColumns(void* bytes, const ZOVSample& sample,
                    const ZOVApplicationServerBase& /*server*/) override {
  auto& row = *static_cast<zov_zovjmssum_data_t*>(bytes);
  row.tot_time = static_cast<std::int32_t>(zov::sumOfKnown(
      sample, {zov::key::get_time, zov::key::put_time, zov::key::browse_time, zov::key::publish_time}));
  const RWCString& manager = sample.getStringData(zov::key::queue_manager_name);
  const RWCString& queue = sample.getStringData(zov::key::queue_name);
  const bool named = !manager.isNull() || !queue.isNull();
  zov::fillUtf8(row.full_name, sizeof row.full_name,
                named ? (manager + ":" + queue).view() : std::string_view());
}
}
;

ZOV_DEFINE_INIT(zovjmssum);
