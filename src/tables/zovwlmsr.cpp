#include "samples/anchors.h"
#include "tables/sample_table.h"

#define ZOV_STEM zovwlmsr
#define ZOV_COLUMNS "tables/columns/zovwlmsr.def"
#define ZOV_BASE ZOVSampleTable
#include "tables/define_table.inc"

class zov_zovwlmsr_agent : public zov_zovwlmsr_base {
 public:
  using zov_zovwlmsr_base::zov_zovwlmsr_base;
  void TakeSample() override { ZOVSampleTable::TakeSample(); }

 protected:
  Anchors makeAnchors(const ZOVFilterValues& filters) const override {
    return oneAnchor<ZOVWLMServerAnchor>(filters.text("CONT_NAME"));
  }
};

ZOV_DEFINE_INIT(zovwlmsr);
