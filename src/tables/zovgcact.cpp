#include "samples/anchors.h"
#include "tables/sample_table.h"

#define ZOV_STEM zovgcact
#define ZOV_COLUMNS "tables/columns/zovgcact.def"
#define ZOV_BASE ZOVSampleTable
#include "tables/define_table.inc"

class zov_zovgcact_agent : public zov_zovgcact_base {
 public:
  using zov_zovgcact_base::zov_zovgcact_base;
  void TakeSample() override { ZOVSampleTable::TakeSample(); }

 protected:
  Anchors makeAnchors(const ZOVFilterValues& filters) const override {
    return oneAnchor<ZOVGCAnchor>(filters.number("PID", 0));
  }
};

ZOV_DEFINE_INIT(zovgcact);
