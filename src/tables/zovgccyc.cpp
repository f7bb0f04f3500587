#include "samples/anchors.h"
#include "tables/sample_table.h"

#define ZOV_STEM zovgccyc
#define ZOV_COLUMNS "tables/columns/zovgccyc.def"
#define ZOV_BASE ZOVSampleTable
#include "tables/define_table.inc"

class zov_zovgccyc_agent : public zov_zovgccyc_base {
 public:
  using zov_zovgccyc_base::zov_zovgccyc_base;
  void TakeSample() override { ZOVSampleTable::TakeSample(); }

 protected:
  Anchors makeAnchors(const ZOVFilterValues& filters) const override {
    return oneAnchor<ZOVGCDetailAnchor>(filters.number("PID", 0), filters.number("AF_NO", 0),
                                        filters.number("GC_NO", 0));
  }
};

ZOV_DEFINE_INIT(zovgccyc);
