#include "samples/anchors.h"
#include "tables/sample_table.h"

#define ZOV_STEM zovbsmsv
#define ZOV_COLUMNS "tables/columns/zovbsmsv.def"
#define ZOV_BASE ZOVSampleTable
#include "tables/define_table.inc"

class zov_zovbsmsv_agent : public zov_zovbsmsv_base {
 public:
  using zov_zovbsmsv_base::zov_zovbsmsv_base;
  void TakeSample() override { ZOVSampleTable::TakeSample(); }

 protected:
  Anchors makeAnchors(const ZOVFilterValues& /*filters*/) const override {
    return oneAnchor<ZOVBSMailAnchor>();
  }
};

ZOV_DEFINE_INIT(zovbsmsv);
