#include "samples/anchors.h"
#include "tables/sample_table.h"

#define ZOV_STEM zovreqhis
#define ZOV_COLUMNS "tables/columns/zovreqhis.def"
#define ZOV_BASE ZOVSampleTable
#include "tables/define_table.inc"

class zov_zovreqhis_agent : public zov_zovreqhis_base {
 public:
  using zov_zovreqhis_base::zov_zovreqhis_base;
  void TakeSample() override { ZOVSampleTable::TakeSample(); }

 protected:
  Anchors makeAnchors(const ZOVFilterValues& /*filters*/) const override {
    return oneAnchor<ZOVServerRequestSummaryAnchor>();
  }
  const ZOVKeywordTableEntry* keywordTable() const override {
    static constexpr ZOVKeywordTableEntry none{nullptr, 0, SortByValue};
    return &none;
  }
};

ZOV_DEFINE_INIT(zovreqhis);
