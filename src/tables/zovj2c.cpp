#include "samples/anchors.h"
#include "tables/sample_table.h"

#define ZOV_STEM zovj2c
#define ZOV_COLUMNS "tables/columns/zovj2c.def"
#define ZOV_BASE ZOVSampleTable
#include "tables/define_table.inc"

class zov_zovj2c_agent : public zov_zovj2c_base {
 public:
  using zov_zovj2c_base::zov_zovj2c_base;
  void TakeSample() override { ZOVSampleTable::TakeSample(); }

 protected:
  Anchors makeAnchors(const ZOVFilterValues& filters) const override {
    return oneAnchor<ZOVJ2CPoolAnchor>(filters.text("CFACT_NAME"), filters.number("SUMMARY", -1));
  }
};

ZOV_DEFINE_INIT(zovj2c);
