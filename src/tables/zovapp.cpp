#include "samples/anchors.h"
#include "tables/sample_table.h"

#define ZOV_STEM zovapp
#define ZOV_COLUMNS "tables/columns/zovapp.def"
#define ZOV_BASE ZOVSampleTable
#include "tables/define_table.inc"

class zov_zovapp_agent : public zov_zovapp_base {
 public:
  using zov_zovapp_base::zov_zovapp_base;
  void TakeSample() override { ZOVSampleTable::TakeSample(); }

 protected:
  Anchors makeAnchors(const ZOVFilterValues& filters) const override {
    return oneAnchor<ZOVApplicationAnchor>(filters.text("APPL_NAME"), filters.text("VHOST_NAME"),
                                           filters.number("SUMMARY", -1));
  }
};

ZOV_DEFINE_INIT(zovapp);
