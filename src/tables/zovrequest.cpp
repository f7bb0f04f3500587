// ZOVREQUEST: one row for each request that was served in the last interval.

#include "tables/families.h"
#include "tables/workload_name.h"

ZOV_SAMPLE_TABLE_AGENT(zovrequest)
protected:
void computeColumns(void* bytes, const ZOVSample& sample,
                    const ZOVApplicationServerBase& /*server*/) override {
  auto& row = *static_cast<zov_zovrequest_data_t*>(bytes);
  char name[sizeof row.c52];
  const std::size_t length = zov::writeWorkloadName(
      sample.getStringData(zov::key::application_name).view(),
      sample.getStringData(zov::key::request_name).view(),
      static_cast<int>(sample.getNumericData(zov::key::request_type)), name, sizeof name);
  zov::fillUtf8(row.c52, sizeof row.c52, {name, length});
}
}
;

ZOV_DEFINE_INIT(zovrequest);
