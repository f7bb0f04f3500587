#include "samples/anchors.h"
#include "tables/sample_table.h"

#define ZOV_STEM zovcntrop
#define ZOV_COLUMNS "tables/columns/zovcntrop.def"
#define ZOV_BASE ZOVSampleTable
#include "tables/define_table.inc"

class zov_zovcntrop_agent : public zov_zovcntrop_base {
 public:
  using zov_zovcntrop_base::zov_zovcntrop_base;
  void TakeSample() override { ZOVSampleTable::TakeSample(); }

 protected:
  Anchors makeAnchors(const ZOVFilterValues& filters) const override {
    return oneAnchor<ZOVObjectPoolAnchor>(filters.text("CONT_NAME"), filters.number("SUMMARY", -1));
  }
};

ZOV_DEFINE_INIT(zovcntrop);
