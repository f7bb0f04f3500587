#include "samples/anchors.h"
#include "tables/sample_table.h"

#define ZOV_STEM zovbsmqm
#define ZOV_COLUMNS "tables/columns/zovbsmqm.def"
#define ZOV_BASE ZOVSampleTable
#include "tables/define_table.inc"

class zov_zovbsmqm_agent : public zov_zovbsmqm_base {
 public:
  using zov_zovbsmqm_base::zov_zovbsmqm_base;
  void TakeSample() override { ZOVSampleTable::TakeSample(); }

 protected:
  Anchors makeAnchors(const ZOVFilterValues& /*filters*/) const override {
    return oneAnchor<ZOVBSQueueManagerAnchor>();
  }
};

ZOV_DEFINE_INIT(zovbsmqm);
