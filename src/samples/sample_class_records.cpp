// The records of the sample classes and the table of key kinds, worked out at compile time.

#include <cstddef>

#include "samples/keys.h"
#include "samples/sample_classes.h"

namespace {

constexpr bool numbersAreUnique() {
  for (const zov::KeyInfo& key : zov::allKeys) {
    if (zov::keyInfo(key.number) != &key || !zovIsKey(key.number)) return false;
  }
  return true;
}
static_assert(numbersAreUnique(), "keys.def gives a number twice, or one that is no key");

template <class Sample>
struct Keys;

/// What sample_types.def says of a class.
struct TypeFacts {
  int type = 0;
  bool interval = false;
  const char* name = "";
};
template <class Sample>
constexpr TypeFacts typeFacts;
#define SAMPLE(value, name, sampleClass, english, source, interval) \
  template <>                                                       \
  constexpr TypeFacts typeFacts<sampleClass>{value, interval, #sampleClass};
#include "samples/sample_types.def"
// The type has no class as far as the factory is concerned: no peer sends it.
template <>
constexpr TypeFacts typeFacts<AppServerCpuSample>{ZOVSample::SampleTypeServerCpu, false,
                                                  "AppServerCpuSample"};

template <std::size_t Count>
constexpr std::array<int, KeyTableSize> placementOf(const int (&keys)[Count]) {
  std::array<int, KeyTableSize> placement{};
  createKeyPlacementArray(placement.data(), keys, static_cast<int>(Count));
  return placement;
}

template <class Sample>
constexpr ZOVSampleClass recordOf() {
  using K = Keys<Sample>;
  return {typeFacts<Sample>.name,
          typeFacts<Sample>.type,
          typeFacts<Sample>.interval,
          K::numeric,
          K::rows,
          K::placement.data(),
          {K::strings, std::size(K::strings) - 1},
          std::size(K::keywords) == 1 ? nullptr : K::keywords};
}

}  // namespace

#define SAMPLE_CLASS ZOVAppServerSample
#define SAMPLE_KEYS "samples/keys/app_server_sample.def"
#include "samples/define_sample_class.inc"

#define SAMPLE_CLASS ZOVContainerSample
#define SAMPLE_KEYS "samples/keys/container_sample.def"
#include "samples/define_sample_class.inc"

#define SAMPLE_CLASS ZOVTransactionSample
#define SAMPLE_KEYS "samples/keys/transaction_sample.def"
#include "samples/define_sample_class.inc"

#define SAMPLE_CLASS ZOVObjectPoolSample
#define SAMPLE_KEYS "samples/keys/object_pool_sample.def"
#include "samples/define_sample_class.inc"

#define SAMPLE_CLASS ZOVEJBSample
#define SAMPLE_KEYS "samples/keys/ejb_sample.def"
#include "samples/define_sample_class.inc"

#define SAMPLE_CLASS ZOVDBConnectPoolSample
#define SAMPLE_KEYS "samples/keys/db_connect_pool_sample.def"
#include "samples/define_sample_class.inc"

#define SAMPLE_CLASS ZOVApplicationSample
#define SAMPLE_KEYS "samples/keys/application_sample.def"
#include "samples/define_sample_class.inc"

#define SAMPLE_CLASS ZOVServletSample
#define SAMPLE_KEYS "samples/keys/servlet_sample.def"
#include "samples/define_sample_class.inc"

#define SAMPLE_CLASS ZOVCacheSample
#define SAMPLE_KEYS "samples/keys/cache_sample.def"
#include "samples/define_sample_class.inc"

#define SAMPLE_CLASS ZOVCacheTemplateSample
#define SAMPLE_KEYS "samples/keys/cache_template_sample.def"
#include "samples/define_sample_class.inc"

#define SAMPLE_CLASS ZOVJ2CPoolSample
#define SAMPLE_KEYS "samples/keys/j2c_pool_sample.def"
#include "samples/define_sample_class.inc"

#define SAMPLE_CLASS ZOVServletSessionsSample
#define SAMPLE_KEYS "samples/keys/servlet_sessions_sample.def"
#include "samples/define_sample_class.inc"

#define SAMPLE_CLASS ZOVThreadPoolSample
#define SAMPLE_KEYS "samples/keys/thread_pool_sample.def"
#include "samples/define_sample_class.inc"

#define SAMPLE_CLASS ZOVWLMClientSample
#define SAMPLE_KEYS "samples/keys/wlm_client_sample.def"
#include "samples/define_sample_class.inc"

#define SAMPLE_CLASS ZOVWLMServerSample
#define SAMPLE_KEYS "samples/keys/wlm_server_sample.def"
#include "samples/define_sample_class.inc"

#define SAMPLE_CLASS ZOVBSMailSample
#define SAMPLE_KEYS "samples/keys/bs_mail_sample.def"
#include "samples/define_sample_class.inc"

#define SAMPLE_CLASS ZOVBSImapSample
#define SAMPLE_KEYS "samples/keys/bs_imap_sample.def"
#include "samples/define_sample_class.inc"

#define SAMPLE_CLASS ZOVBSPopSample
#define SAMPLE_KEYS "samples/keys/bs_pop_sample.def"
#include "samples/define_sample_class.inc"

#define SAMPLE_CLASS ZOVBSQueueManagerSample
#define SAMPLE_KEYS "samples/keys/bs_queue_manager_sample.def"
#include "samples/define_sample_class.inc"

#define SAMPLE_CLASS ZOVGarbageCollectionSample
#define SAMPLE_KEYS "samples/keys/garbage_collection_sample.def"
#include "samples/define_sample_class.inc"

#define SAMPLE_CLASS ZOVWorkloadSumSample
#define SAMPLE_KEYS "samples/keys/workload_sum_sample.def"
#include "samples/define_sample_class.inc"

#define SAMPLE_CLASS ZOVWorkloadDetailSample
#define SAMPLE_KEYS "samples/keys/workload_detail_sample.def"
#include "samples/define_sample_class.inc"

#define SAMPLE_CLASS ZOVHTTPSample
#define SAMPLE_KEYS "samples/keys/http_sample.def"
#include "samples/define_sample_class.inc"

#define SAMPLE_CLASS ZOVDataSourceDetSample
#define SAMPLE_KEYS "samples/keys/data_source_det_sample.def"
#include "samples/define_sample_class.inc"

#define SAMPLE_CLASS ZOVXQAccessSample
#define SAMPLE_KEYS "samples/keys/xq_access_sample.def"
#include "samples/define_sample_class.inc"

#define SAMPLE_CLASS ZOVAppServerOverviewSample
#define SAMPLE_KEYS "samples/keys/app_server_overview_sample.def"
#include "samples/define_sample_class.inc"

#define SAMPLE_CLASS ZOVTSLJavaPropertySample
#define SAMPLE_KEYS "samples/keys/tsl_java_property_sample.def"
#include "samples/define_sample_class.inc"

#define SAMPLE_CLASS ZOVTSLEnvVarsSample
#define SAMPLE_KEYS "samples/keys/tsl_env_vars_sample.def"
#include "samples/define_sample_class.inc"

#define SAMPLE_CLASS ZOVAFDetailSample
#define SAMPLE_KEYS "samples/keys/af_detail_sample.def"
#include "samples/define_sample_class.inc"

#define SAMPLE_CLASS ZOVGCDetailSample
#define SAMPLE_KEYS "samples/keys/gc_detail_sample.def"
#include "samples/define_sample_class.inc"

#define SAMPLE_CLASS ZOVStringAbbreviationSample
#define SAMPLE_KEYS "samples/keys/string_abbreviation_sample.def"
#include "samples/define_sample_class.inc"

#define SAMPLE_CLASS ZOVMessageSample
#define SAMPLE_KEYS "samples/keys/message_sample.def"
#include "samples/define_sample_class.inc"

#define SAMPLE_CLASS ZOVServerRequestSummary
#define SAMPLE_KEYS "samples/keys/server_request_summary.def"
#include "samples/define_sample_class.inc"

#define SAMPLE_CLASS ZOVPSISample
#define SAMPLE_KEYS "samples/keys/psi_sample.def"
#include "samples/define_sample_class.inc"

#define SAMPLE_CLASS ZOVEndSample
#define SAMPLE_KEYS "samples/keys/end_sample.def"
#include "samples/define_sample_class.inc"

#define SAMPLE_CLASS AppServerCpuSample
#define SAMPLE_KEYS "samples/keys/app_server_cpu_sample.def"
#include "samples/define_sample_class.inc"

namespace {

/// Fills the rows of one class's keys. Two classes that disagree about a key do not compile.
struct KeyTableBuilder {
  std::array<ZOVKeyRow, KeyTableSize> table{};
  std::array<bool, KeyTableSize> told{};

  constexpr void add(int key, const ZOVKeyRow& row) {
    const auto at = static_cast<std::size_t>(key);
    const ZOVKeyRow& there = table[at];
    if (told[at] && (there.kind != row.kind || there.scaleFactor != row.scaleFactor ||
                     there.relatedKey != row.relatedKey)) {
      throw "two sample classes disagree about a key";
    }
    table[at] = row;
    told[at] = true;
  }
  template <class Sample>
  constexpr void addClass() {
    using K = Keys<Sample>;
    for (std::size_t i = 0; i < std::size(K::numeric); ++i) add(K::numeric[i], K::rows[i]);
    for (const ZOVStringKey& string : recordOf<Sample>().strings) add(string.key, {KeyKindString, 0, 0});
  }
};

constexpr std::array<ZOVKeyRow, KeyTableSize> buildKeyTable() {
  KeyTableBuilder builder;
#define SAMPLE(value, name, sampleClass, english, source, interval) builder.addClass<sampleClass>();
#include "samples/sample_types.def"
  return builder.table;
}

}  // namespace

constinit const std::array<ZOVKeyRow, KeyTableSize> pKeyTable = buildKeyTable();
