#include "samples/anchors.h"
#include "tables/sample_table.h"

#define ZOV_STEM zovjmssum
#define ZOV_COLUMNS "tables/columns/zovjmssum.def"
#define ZOV_BASE ZOVSampleTable
#include "tables/define_table.inc"

class zov_zovjmssum_agent : public zov_zovjmssum_base {
 public:
  using zov_zovjmssum_base::zov_zovjmssum_base;
  void TakeSample() override { ZOVSampleTable::TakeSample(); }

 protected:
  Anchors makeAnchors(const ZOVFilterValues& filters) const override {
    return oneAnchor<ZOVXQAccessAnchor>(filters.number("PID", 0), filters.text("QMGR_NAME"),
                                        filters.text("QUEUE_NAME"));
  }
};

ZOV_DEFINE_INIT(zovjmssum);
