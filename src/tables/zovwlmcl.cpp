#include "samples/anchors.h"
#include "tables/sample_table.h"

#define ZOV_STEM zovwlmcl
#define ZOV_COLUMNS "tables/columns/zovwlmcl.def"
#define ZOV_BASE ZOVSampleTable
#include "tables/define_table.inc"

class zov_zovwlmcl_agent : public zov_zovwlmcl_base {
 public:
  using zov_zovwlmcl_base::zov_zovwlmcl_base;
  void TakeSample() override { ZOVSampleTable::TakeSample(); }

 protected:
  Anchors makeAnchors(const ZOVFilterValues& filters) const override {
    return oneAnchor<ZOVWLMClientAnchor>(filters.text("CONT_NAME"));
  }
};

ZOV_DEFINE_INIT(zovwlmcl);
