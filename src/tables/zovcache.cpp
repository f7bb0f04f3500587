#include "samples/anchors.h"
#include "tables/sample_table.h"

#define ZOV_STEM zovcache
#define ZOV_COLUMNS "tables/columns/zovcache.def"
#define ZOV_BASE ZOVSampleTable
#include "tables/define_table.inc"

class zov_zovcache_agent : public zov_zovcache_base {
 public:
  using zov_zovcache_base::zov_zovcache_base;
  void TakeSample() override { ZOVSampleTable::TakeSample(); }

 protected:
  Anchors makeAnchors(const ZOVFilterValues& filters) const override {
    return oneAnchor<ZOVCacheAnchor>(filters.text("CONT_NAME"));
  }
};

ZOV_DEFINE_INIT(zovcache);
