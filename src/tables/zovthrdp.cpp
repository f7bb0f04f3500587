#include "samples/anchors.h"
#include "tables/sample_table.h"

#define ZOV_STEM zovthrdp
#define ZOV_COLUMNS "tables/columns/zovthrdp.def"
#define ZOV_BASE ZOVSampleTable
#include "tables/define_table.inc"

class zov_zovthrdp_agent : public zov_zovthrdp_base {
 public:
  using zov_zovthrdp_base::zov_zovthrdp_base;
  void TakeSample() override { ZOVSampleTable::TakeSample(); }

 protected:
  Anchors makeAnchors(const ZOVFilterValues& filters) const override {
    return oneAnchor<ZOVThreadPoolAnchor>(filters.text("THRDP_NAME"), filters.number("SUMMARY", -1));
  }
};

ZOV_DEFINE_INIT(zovthrdp);
