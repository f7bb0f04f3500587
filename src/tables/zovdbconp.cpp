#include "samples/anchors.h"
#include "tables/sample_table.h"

#define ZOV_STEM zovdbconp
#define ZOV_COLUMNS "tables/columns/zovdbconp.def"
#define ZOV_BASE ZOVSampleTable
#include "tables/define_table.inc"

class zov_zovdbconp_agent : public zov_zovdbconp_base {
 public:
  using zov_zovdbconp_base::zov_zovdbconp_base;
  void TakeSample() override { ZOVSampleTable::TakeSample(); }

 protected:
  Anchors makeAnchors(const ZOVFilterValues& filters) const override {
    return oneAnchor<ZOVDBConnectionAnchor>(filters.text("NAME"), filters.number("SUMMARY", -1));
  }
};

ZOV_DEFINE_INIT(zovdbconp);
