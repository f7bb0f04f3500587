#include "samples/anchors.h"
#include "tables/sample_table.h"

#define ZOV_STEM zovcontnr
#define ZOV_COLUMNS "tables/columns/zovcontnr.def"
#define ZOV_BASE ZOVSampleTable
#include "tables/define_table.inc"

class zov_zovcontnr_agent : public zov_zovcontnr_base {
 public:
  using zov_zovcontnr_base::zov_zovcontnr_base;
  void TakeSample() override { ZOVSampleTable::TakeSample(); }

 protected:
  Anchors makeAnchors(const ZOVFilterValues& filters) const override {
    return oneAnchor<ZOVContainerAnchor>(filters.text("CONT_NAME"), filters.number("SUMMARY", -1));
  }
  /// The row limit decides, and not the sort column.
  bool sortsBy(const ZOVExtendedFilter& filter) const override { return filter.rows != 0; }
};

ZOV_DEFINE_INIT(zovcontnr);
