#include "agent/tables/sample_table.h"
#include "samples/anchors.h"

#define ZOV_STEM zovwlmsr
#define ZOV_COLUMNS "agent/tables/columns/zovwlmsr.def"
#define ZOV_BASE ZOVSampleTable
#include "agent/tables/define_table.inc"

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
