// ZOVREQUEST: one row for each request that was served in the last interval.

#include "agent/agent.h"
#include "samples/anchors.h"
#include "tables/sample_table.h"
#include "tables/workload_name.h"

#define ZOV_STEM zovrequest
#define ZOV_COLUMNS "tables/columns/zovrequest.def"
#define ZOV_BASE ZOVSampleTable
#include "tables/define_table.inc"

class zov_zovrequest_agent : public zov_zovrequest_base {
 public:
  using zov_zovrequest_base::zov_zovrequest_base;
  void TakeSample() override { ZOVSampleTable::TakeSample(); }

 protected:
  Anchors makeAnchors(const ZOVFilterValues& filters) const override {
    return oneAnchor<ZOVWorkloadSumAnchor>(filters.number("PID", 0), filters.number("REQ_TYPE", 0),
                                           filters.text("REQ_NAME"), filters.text("REQ_DETAIL"));
  }
  void computeColumns(unsigned char* bytes, const ZOVSample& sample,
                      const ZOVApplicationServerBase& /*server*/) override {
    auto* row = reinterpret_cast<zov_zovrequest_data_t*>(bytes);
    char name[sizeof row->c52];
    const std::size_t length =
        zovWorkloadName(sample.getStringData(701).view(), sample.getStringData(702).view(),
                        static_cast<int>(sample.getNumericData(700)), name, sizeof name);
    zovFillUtf8(row->c52, sizeof row->c52, {name, length});
  }
};

ZOV_DEFINE_INIT(zovrequest);
