#include "samples/anchors.h"
#include "tables/sample_table.h"

#define ZOV_STEM zovtrans
#define ZOV_COLUMNS "tables/columns/zovtrans.def"
#define ZOV_BASE ZOVSampleTable
#include "tables/define_table.inc"

class zov_zovtrans_agent : public zov_zovtrans_base {
 public:
  using zov_zovtrans_base::zov_zovtrans_base;
  void TakeSample() override { ZOVSampleTable::TakeSample(); }

 protected:
  Anchors makeAnchors(const ZOVFilterValues& filters) const override {
    return oneAnchor<ZOVContainerTransactionAnchor>(filters.text("CONT_NAME"), filters.number("SUMMARY", -1));
  }
};

ZOV_DEFINE_INIT(zovtrans);
