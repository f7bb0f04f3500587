#include "samples/anchors.h"
#include "tables/sample_table.h"

#define ZOV_STEM zovgcaf
#define ZOV_COLUMNS "tables/columns/zovgcaf.def"
#define ZOV_BASE ZOVSampleTable
#include "tables/define_table.inc"

class zov_zovgcaf_agent : public zov_zovgcaf_base {
 public:
  using zov_zovgcaf_base::zov_zovgcaf_base;
  void TakeSample() override { ZOVSampleTable::TakeSample(); }

 protected:
  Anchors makeAnchors(const ZOVFilterValues& filters) const override {
    return oneAnchor<ZOVAFDetailAnchor>(filters.number("PID", 0), filters.number("AF_NO", 0));
  }
};

ZOV_DEFINE_INIT(zovgcaf);
