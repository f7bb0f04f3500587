#include "samples/anchors.h"
#include "tables/sample_table.h"

#define ZOV_STEM zovdatas
#define ZOV_COLUMNS "tables/columns/zovdatas.def"
#define ZOV_BASE ZOVSampleTable
#include "tables/define_table.inc"

class zov_zovdatas_agent : public zov_zovdatas_base {
 public:
  using zov_zovdatas_base::zov_zovdatas_base;
  void TakeSample() override { ZOVSampleTable::TakeSample(); }

 protected:
  Anchors makeAnchors(const ZOVFilterValues& filters) const override {
    return oneAnchor<ZOVDataSourceAnchor>(filters.number("PID", 0), filters.text("NAME"));
  }
};

ZOV_DEFINE_INIT(zovdatas);
