#include "samples/anchors.h"
#include "tables/sample_table.h"

#define ZOV_STEM zovservlt
#define ZOV_COLUMNS "tables/columns/zovservlt.def"
#define ZOV_BASE ZOVSampleTable
#include "tables/define_table.inc"

class zov_zovservlt_agent : public zov_zovservlt_base {
 public:
  using zov_zovservlt_base::zov_zovservlt_base;
  void TakeSample() override { ZOVSampleTable::TakeSample(); }

 protected:
  Anchors makeAnchors(const ZOVFilterValues& filters) const override {
    return oneAnchor<ZOVServletAnchor>(filters.text("APPL_NAME"), filters.text("VHOST_NAME"),
                                       filters.text("SVLT_NAME"), filters.text("JSPP_NAME"),
                                       filters.number("SVLT_TYPE", -1));
  }
};

ZOV_DEFINE_INIT(zovservlt);
