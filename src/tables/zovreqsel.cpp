#include "samples/anchors.h"
#include "tables/sample_table.h"

#define ZOV_STEM zovreqsel
#define ZOV_COLUMNS "tables/columns/zovreqsel.def"
#define ZOV_BASE ZOVSampleTable
#include "tables/define_table.inc"

class zov_zovreqsel_agent : public zov_zovreqsel_base {
 public:
  using zov_zovreqsel_base::zov_zovreqsel_base;
  void TakeSample() override { ZOVSampleTable::TakeSample(); }

 protected:
  Anchors makeAnchors(const ZOVFilterValues& filters) const override {
    return oneAnchor<ZOVWorkloadDetailAnchor>(filters.number("PID", 0), filters.number("REQ_TYPE", 0),
                                              filters.text("REQ_NAME"), filters.text("REQ_DETAIL"),
                                              filters.number("ACT_TYPE", 0), filters.text("ACT_NAME"),
                                              filters.text("ACT_DETAIL"), filters.number("ACT_CAT", 0));
  }
};

ZOV_DEFINE_INIT(zovreqsel);
