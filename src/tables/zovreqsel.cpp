// ZOVREQSEL: one row for each place where a request spent its time.

#include "tables/families.h"
#include "tables/workload_name.h"

ZOV_SAMPLE_TABLE_AGENT(zovreqsel)
protected:
void computeColumns(void* bytes, const ZOVSample& sample,
                    const ZOVApplicationServerBase& /*server*/) override {
  auto& row = *static_cast<zov_zovreqsel_data_t*>(bytes);
  const std::string_view action = sample.getStringData(zov::key::delay_detail_1).view();
  const std::string_view detail = sample.getStringData(zov::key::delay_detail_2).view();
  char name[sizeof row.act_shname];
  const bool named = !action.empty() || !detail.empty();
  const std::size_t length =
      named ? zov::writeWorkloadName(action, detail, zov::WorkloadNameOfBoth, name, sizeof name) : 0;
  zov::fillUtf8(row.act_shname, sizeof row.act_shname, {name, length});
}
}
;

ZOV_DEFINE_INIT(zovreqsel);
