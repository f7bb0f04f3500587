// ZOVGCCYC: one row for each cycle of garbage collection.

#include "tables/computed_values.h"
#include "tables/families.h"

ZOV_SAMPLE_TABLE_AGENT(zovgccyc)
protected:
void computeColumns(void* bytes, const ZOVSample& sample,
                    const ZOVApplicationServerBase& /*server*/) override {
  static_cast<zov_zovgccyc_data_t*>(bytes)->byte_used = static_cast<std::int32_t>(zov::differenceOf(
      sample.getNumericData(zov::key::heap_total), sample.getNumericData(zov::key::heap_available)));
}
}
;

ZOV_DEFINE_INIT(zovgccyc);
