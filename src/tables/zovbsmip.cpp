#include "samples/anchors.h"
#include "tables/sample_table.h"

#define ZOV_STEM zovbsmip
#define ZOV_COLUMNS "tables/columns/zovbsmip.def"
#define ZOV_BASE ZOVSampleTable
#include "tables/define_table.inc"

class zov_zovbsmip_agent : public zov_zovbsmip_base {
 public:
  using zov_zovbsmip_base::zov_zovbsmip_base;
  void TakeSample() override { ZOVSampleTable::TakeSample(); }

 protected:
  Anchors makeAnchors(const ZOVFilterValues& /*filters*/) const override {
    Anchors anchors = oneAnchor<ZOVBSImapAnchor>();
    anchors.push_back(std::make_unique<ZOVBSPopAnchor>());
    return anchors;
  }
};

ZOV_DEFINE_INIT(zovbsmip);
