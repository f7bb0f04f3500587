#include "samples/anchors.h"
#include "tables/sample_table.h"

#define ZOV_STEM zovcacht
#define ZOV_COLUMNS "tables/columns/zovcacht.def"
#define ZOV_BASE ZOVSampleTable
#include "tables/define_table.inc"

class zov_zovcacht_agent : public zov_zovcacht_base {
 public:
  using zov_zovcacht_base::zov_zovcacht_base;
  void TakeSample() override { ZOVSampleTable::TakeSample(); }

 protected:
  Anchors makeAnchors(const ZOVFilterValues& filters) const override {
    return oneAnchor<ZOVCacheTemplateAnchor>(filters.text("CACHET_NAM"), filters.number("SUMMARY", -1));
  }
};

ZOV_DEFINE_INIT(zovcacht);
