#include "samples/anchors.h"
#include "tables/sample_table.h"

#define ZOV_STEM zovservs
#define ZOV_COLUMNS "tables/columns/zovservs.def"
#define ZOV_BASE ZOVSampleTable
#include "tables/define_table.inc"

class zov_zovservs_agent : public zov_zovservs_base {
 public:
  using zov_zovservs_base::zov_zovservs_base;
  void TakeSample() override { ZOVSampleTable::TakeSample(); }

 protected:
  Anchors makeAnchors(const ZOVFilterValues& filters) const override {
    return oneAnchor<ZOVServletSessionsAnchor>(filters.text("WAPPL_NAME"), filters.number("SUMMARY", -1));
  }
};

ZOV_DEFINE_INIT(zovservs);
