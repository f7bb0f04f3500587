// ZOVGCAF: one row for each allocation that failed, and so made the JVM collect its garbage.

#include <algorithm>

#include "tables/computed_values.h"
#include "tables/families.h"

ZOV_SAMPLE_TABLE_AGENT(zovgcaf)
protected:
/// Servers of the platform tsl61 tell of the heap behind the collection, all others of the heap before it.
void computeColumns(void* bytes, const ZOVSample& sample, const ZOVApplicationServerBase& server) override {
  const auto valueOf = [&](int key) { return sample.getNumericData(key); };
  const long long free = zov::sumOf(valueOf(zov::key::heap_1_free), valueOf(zov::key::heap_2_free));
  const long long size = zov::sumOf(valueOf(zov::key::heap_1_size), valueOf(zov::key::heap_2_size));
  const long long freed = valueOf(zov::key::bytes_freed);
  const long long expansion = valueOf(zov::key::heap_expansion);
  const long long used = zov::differenceOf(size, free);
  auto& row = *static_cast<zov_zovgcaf_data_t*>(bytes);
  if (zov::platformOf(server).view().starts_with("tsl61")) {
    store(row, used, free, freed);
  } else if (expansion == ZOVSample::NullValue) {
    store(row, zov::differenceOf(used, freed), expansion, expansion);
  } else {
    store(row, zov::differenceOf(used, freed), zov::sumOf(free, std::min(expansion, 0LL)),
          zov::sumOf(freed, std::max(expansion, 0LL)));
  }
}

private:
static void store(zov_zovgcaf_data_t& row, long long used, long long available, long long freed) {
  row.total_used = static_cast<std::int32_t>(used);
  row.total_avai = static_cast<std::int32_t>(available);
  row.total_free = static_cast<std::int32_t>(freed);
}
}
;

ZOV_DEFINE_INIT(zovgcaf);
