#include "samples/anchors.h"
#include "tables/sample_table.h"

#define ZOV_STEM zovejb
#define ZOV_COLUMNS "tables/columns/zovejb.def"
#define ZOV_BASE ZOVSampleTable
#include "tables/define_table.inc"

class zov_zovejb_agent : public zov_zovejb_base {
 public:
  using zov_zovejb_base::zov_zovejb_base;
  void TakeSample() override { ZOVSampleTable::TakeSample(); }

 protected:
  Anchors makeAnchors(const ZOVFilterValues& filters) const override {
    return oneAnchor<ZOVEJBAnchor>(filters.text("CONT_NAME"), filters.text("BEAN_NAME"));
  }
  /// The row limit decides, and not the sort column.
  bool sortsBy(const ZOVExtendedFilter& filter) const override { return filter.rows != 0; }
};

ZOV_DEFINE_INIT(zovejb);
