#pragma once
// The sample classes. Each names its string fields and makes the anchor that identifies its resource; its
// keys, its type and its data source are its section of sample_classes.def. Default-constructed samples are
// empty, with the present time.

#include <algorithm>
#include <array>
#include <iterator>

#include "samples/sample.h"

/// What every class of samples has beside its fields: its record, its constructors and clone.
#define ZOV_SAMPLE_CLASS(Class, Base)                                            \
 public:                                                                         \
  static const zov::SampleClass sampleClassInfo;                                 \
  explicit Class(const zov::SampleClass& info = sampleClassInfo) : Base(info) {} \
  Class(const Class&) = default;                                                 \
  Class& operator=(const Class&) = default;                                      \
  Class* clone() const override {                                                \
    return new Class(*this);                                                     \
  }                                                                              \
  std::size_t objectBytes() const override {                                     \
    return sizeof(Class);                                                        \
  }

class ZOVAppServerSample : public ZOVSample {
  ZOV_SAMPLE_CLASS(ZOVAppServerSample, ZOVSample)

  const RWCString& getResourceName() const override { return serverName; }
  ZOVResourceAnchor* getResourceAnchor() override;
  /// What the server's anchors are summed up to.
  static constexpr int RollUpKeys[] = {zov::key::rollup_unused,
                                       zov::key::db_connections_created,
                                       zov::key::db_connections_destroyed,
                                       zov::key::db_connections_allocated,
                                       zov::key::bean_instantiates,
                                       zov::key::transactions,
                                       zov::key::transactions_committed,
                                       zov::key::transactions_rolled_back,
                                       zov::key::web_errors,
                                       zov::key::web_requests};
  using RollUpTotals = std::array<long long, std::size(RollUpKeys)>;
  static constexpr std::size_t rollUpPlace(int key) {
    return static_cast<std::size_t>(std::find(std::begin(RollUpKeys), std::end(RollUpKeys), key) -
                                    RollUpKeys);
  }
  /// Stores one total for each of RollUpKeys.
  void saveRollUpValues(const RollUpTotals& totals);
  /// Milliseconds of CPU that the process has used so far, or -1.
  static long long getProcessCPUUsage(unsigned int processId);
  static long long getNumProcessors();

  RWCString serverName, instanceName;
};

/// What the samples of EJB containers share.
class ZOVEJBBaseSample : public ZOVSample {
 public:
  const RWCString& getResourceName() const override { return containerName; }

  RWCString containerName;

 protected:
  using ZOVSample::ZOVSample;
  ZOVEJBBaseSample(const ZOVEJBBaseSample&) = default;
  ZOVEJBBaseSample& operator=(const ZOVEJBBaseSample&) = default;
};

/// Receives the statistics of entity, stateful and stateless beans and folds them into those of the
/// container.
class ZOVContainerSample : public ZOVEJBBaseSample {
  ZOV_SAMPLE_CLASS(ZOVContainerSample, ZOVEJBBaseSample)

  /// Field by field, since counters are folded.
  void saveData(ZOVBuffer& buffer) override { ZOVTransportableData::saveData(buffer); }
  /// A per-kind bean counter goes into its roll-up key only.
  void saveNumericData(int key, long long value) override;
  /// A per-kind bean load goes into its roll-up key and is stored itself.
  void saveStatInfoData(int key, double total, double numSamples) override;
  ZOVResourceAnchor* getResourceAnchor() override;
};

class ZOVTransactionSample : public ZOVEJBBaseSample {
  ZOV_SAMPLE_CLASS(ZOVTransactionSample, ZOVEJBBaseSample)
  ZOVResourceAnchor* getResourceAnchor() override;
};

class ZOVObjectPoolSample : public ZOVEJBBaseSample {
  ZOV_SAMPLE_CLASS(ZOVObjectPoolSample, ZOVEJBBaseSample)
  ZOVResourceAnchor* getResourceAnchor() override;
};

class ZOVEJBSample : public ZOVEJBBaseSample {
  ZOV_SAMPLE_CLASS(ZOVEJBSample, ZOVEJBBaseSample)

  const RWCString& getResourceName() const override { return ejbName; }
  /// The loads of the three kinds of bean are stored in one place each, beans_live and beans_active.
  void saveStatInfoData(int key, double total, double numSamples) override;
  ZOVResourceAnchor* getResourceAnchor() override;

  RWCString ejbName;
};

class ZOVDBConnectPoolSample : public ZOVSample {
  ZOV_SAMPLE_CLASS(ZOVDBConnectPoolSample, ZOVSample)

  const RWCString& getResourceName() const override { return dataSourceName; }
  ZOVResourceAnchor* getResourceAnchor() override;

  RWCString dataSourceName;

 protected:
  /// A pool in use in which nobody waited has a mean wait of 0 rather than none.
  void rate(const ZOVSample* previous) override;
};

class ZOVApplicationSample : public ZOVSample {
  ZOV_SAMPLE_CLASS(ZOVApplicationSample, ZOVSample)

  const RWCString& getResourceName() const override { return applicationName; }
  ZOVResourceAnchor* getResourceAnchor() override;

  RWCString applicationName, virtualHostName;
};

class ZOVServletSample : public ZOVApplicationSample {
  ZOV_SAMPLE_CLASS(ZOVServletSample, ZOVApplicationSample)
  /// Of the key `servlet_type`; ServletAny is a filter's wildcard.
  enum _ServletType : int { ServletAny = -1, ServletPlain = 0, ServletJSP = 1 };

  const RWCString& getResourceName() const override { return servletName; }
  ZOVResourceAnchor* getResourceAnchor() override;

  RWCString servletName, jspPath;
};

class ZOVCacheSample : public ZOVSample {
  ZOV_SAMPLE_CLASS(ZOVCacheSample, ZOVSample)
  const RWCString& getResourceName() const override { return cacheName; }
  ZOVResourceAnchor* getResourceAnchor() override;
  RWCString cacheName;
};

class ZOVCacheTemplateSample : public ZOVSample {
  ZOV_SAMPLE_CLASS(ZOVCacheTemplateSample, ZOVSample)
  const RWCString& getResourceName() const override { return templateName; }
  ZOVResourceAnchor* getResourceAnchor() override;
  RWCString templateName;
};

class ZOVJ2CPoolSample : public ZOVSample {
  ZOV_SAMPLE_CLASS(ZOVJ2CPoolSample, ZOVSample)
  const RWCString& getResourceName() const override { return connectionFactoryName; }
  ZOVResourceAnchor* getResourceAnchor() override;
  RWCString connectionFactoryName;
};

class ZOVServletSessionsSample : public ZOVSample {
  ZOV_SAMPLE_CLASS(ZOVServletSessionsSample, ZOVSample)
  const RWCString& getResourceName() const override { return applicationName; }
  ZOVResourceAnchor* getResourceAnchor() override;
  RWCString applicationName;
};

class ZOVThreadPoolSample : public ZOVSample {
  ZOV_SAMPLE_CLASS(ZOVThreadPoolSample, ZOVSample)
  const RWCString& getResourceName() const override { return threadPoolName; }
  ZOVResourceAnchor* getResourceAnchor() override;
  RWCString threadPoolName;
};

class ZOVWLMClientSample : public ZOVSample {
  ZOV_SAMPLE_CLASS(ZOVWLMClientSample, ZOVSample)
  const RWCString& getResourceName() const override { return clientName; }
  ZOVResourceAnchor* getResourceAnchor() override;
  RWCString clientName;
};

class ZOVWLMServerSample : public ZOVSample {
  ZOV_SAMPLE_CLASS(ZOVWLMServerSample, ZOVSample)
  const RWCString& getResourceName() const override { return serverName; }
  ZOVResourceAnchor* getResourceAnchor() override;
  RWCString serverName;
};

class ZOVBSMailSample : public ZOVSample {
  ZOV_SAMPLE_CLASS(ZOVBSMailSample, ZOVSample)
  ZOVResourceAnchor* getResourceAnchor() override;
};

/// What reads mailboxes, whose protocol is known by the class of its samples.
template <int Protocol>
class ZOVMailboxSample : public ZOVSample {
 protected:
  explicit ZOVMailboxSample(const zov::SampleClass& info) : ZOVSample(info) {
    ZOVSample::saveNumericData(zov::key::mailbox_protocol, Protocol);
  }
  ZOVMailboxSample(const ZOVMailboxSample&) = default;
  ZOVMailboxSample& operator=(const ZOVMailboxSample&) = default;
};

class ZOVBSImapSample : public ZOVMailboxSample<1> {
  ZOV_SAMPLE_CLASS(ZOVBSImapSample, ZOVMailboxSample)
  ZOVResourceAnchor* getResourceAnchor() override;
};

class ZOVBSPopSample : public ZOVMailboxSample<2> {
  ZOV_SAMPLE_CLASS(ZOVBSPopSample, ZOVMailboxSample)
  ZOVResourceAnchor* getResourceAnchor() override;
};

class ZOVBSQueueManagerSample : public ZOVSample {
  ZOV_SAMPLE_CLASS(ZOVBSQueueManagerSample, ZOVSample)
  ZOVResourceAnchor* getResourceAnchor() override;
};

class ZOVGarbageCollectionSample : public ZOVSample {
  ZOV_SAMPLE_CLASS(ZOVGarbageCollectionSample, ZOVSample)
  /// gc_in_use and gc_free come only from parts with collections behind them (gc_runs).
  void mergeNumericData(const ZOVSample* other, int key, _NumericValue* entry) override;
  ZOVResourceAnchor* getResourceAnchor() override;
};

class ZOVAFDetailSample : public ZOVSample {
  ZOV_SAMPLE_CLASS(ZOVAFDetailSample, ZOVSample)
  ZOVResourceAnchor* getResourceAnchor() override;
  RWCString afTimeStamp;
};

class ZOVGCDetailSample : public ZOVSample {
  ZOV_SAMPLE_CLASS(ZOVGCDetailSample, ZOVSample)
  ZOVResourceAnchor* getResourceAnchor() override;
};

/// What the samples of requests share.
class ZOVWorkloadBaseSample : public ZOVSample {
 public:
  /// Of the key `request_type`; the collector's number for the kind of request. WorkloadAny is a filter's
  /// wildcard.
  enum _WorloadType : int { WorkloadAny = 0 };

  RWCString applicationName, requestName;

 protected:
  using ZOVSample::ZOVSample;
  ZOVWorkloadBaseSample(const ZOVWorkloadBaseSample&) = default;
  ZOVWorkloadBaseSample& operator=(const ZOVWorkloadBaseSample&) = default;
};

class ZOVWorkloadSumSample : public ZOVWorkloadBaseSample {
  ZOV_SAMPLE_CLASS(ZOVWorkloadSumSample, ZOVWorkloadBaseSample)

  ZOVResourceAnchor* getResourceAnchor() override;
  bool shouldCreateSummarySamples() const override { return true; }
  /// Adds counts and times to the server-wide ZOVServerRequestSummary in `anchors`.
  void createSummarizedSamples(RWCollection& anchors) override;
  bool isPopulated() const { return populated; }

  bool populated = false;  ///< set by who fills the sample
};

class ZOVWorkloadDetailSample : public ZOVWorkloadBaseSample {
  ZOV_SAMPLE_CLASS(ZOVWorkloadDetailSample, ZOVWorkloadBaseSample)
  /// Of the key `delay_type`; the collector's number for where the time went. DelayAny is a filter's
  /// wildcard.
  enum _DelayType : int { DelayAny = 0 };

  /// Works out the category of the delay first, when the collector has not sent it.
  ZOVResourceAnchor* getResourceAnchor() override;

  RWCString delayDetail1, delayDetail2;
};

/// A session; its parts merge by their session_part_order.
class ZOVHTTPSample : public ZOVWorkloadBaseSample {
  ZOV_SAMPLE_CLASS(ZOVHTTPSample, ZOVWorkloadBaseSample)

  /// The later part is the one with the smaller session_part_order: its texts and numbers stand whole, with
  /// the greatest of the session's counters, figure and maximum.
  void mergeSampleData(const ZOVSample* other) override;
  ZOVResourceAnchor* getResourceAnchor() override;

  RWCString sessionName, sessionText1, sessionText2, sessionText3;
};

class ZOVDataSourceDetSample : public ZOVSample {
  ZOV_SAMPLE_CLASS(ZOVDataSourceDetSample, ZOVSample)
  ZOVResourceAnchor* getResourceAnchor() override;
  RWCString dataSourceName, detail1, detail2;
};

class ZOVXQAccessSample : public ZOVSample {
  ZOV_SAMPLE_CLASS(ZOVXQAccessSample, ZOVSample)
  ZOVResourceAnchor* getResourceAnchor() override;
  RWCString connectionName, queueName;
};

class ZOVAppServerOverviewSample : public ZOVSample {
  ZOV_SAMPLE_CLASS(ZOVAppServerOverviewSample, ZOVSample)
  ZOVResourceAnchor* getResourceAnchor() override;
  RWCString nodeName, serverName, overviewText1, overviewText2, overviewText3;
};

/// All requests of one server in one interval.
class ZOVServerRequestSummary : public ZOVSample {
  ZOV_SAMPLE_CLASS(ZOVServerRequestSummary, ZOVSample)
  ZOVResourceAnchor* getResourceAnchor() override;

  /// Takes time, duration, and the running counts of the interval's length, the requests and their time.
  void assign(const ZOVWorkloadSumSample& sum);
};

/// A name and a value of one server.
class ZOVTSLKeyValueSample : public ZOVSample {
 public:
  const RWCString& getResourceName() const override { return name; }

  RWCString name, value;

 protected:
  using ZOVSample::ZOVSample;
  ZOVTSLKeyValueSample(const ZOVTSLKeyValueSample&) = default;
  ZOVTSLKeyValueSample& operator=(const ZOVTSLKeyValueSample&) = default;
};

class ZOVTSLJavaPropertySample : public ZOVTSLKeyValueSample {
  ZOV_SAMPLE_CLASS(ZOVTSLJavaPropertySample, ZOVTSLKeyValueSample)
  ZOVResourceAnchor* getResourceAnchor() override;
};

class ZOVTSLEnvVarsSample : public ZOVTSLKeyValueSample {
  ZOV_SAMPLE_CLASS(ZOVTSLEnvVarsSample, ZOVTSLKeyValueSample)
  ZOVResourceAnchor* getResourceAnchor() override;
};

class ZOVMessageSample : public ZOVSample {
  ZOV_SAMPLE_CLASS(ZOVMessageSample, ZOVSample)
  ZOVResourceAnchor* getResourceAnchor() override;
  RWCString messageSeverity, messageText;
};

/// A long text and the short form by which the collector will name it. Has no anchor.
class ZOVStringAbbreviationSample : public ZOVSample {
  ZOV_SAMPLE_CLASS(ZOVStringAbbreviationSample, ZOVSample)
  RWCString fullString, abbreviation;
};

/// A processor figure as a sample by itself.
class AppServerCpuSample : public ZOVSample {
  ZOV_SAMPLE_CLASS(AppServerCpuSample, ZOVSample)

  const RWCString& getResourceName() const override { return resourceName; }
  ZOVResourceAnchor* getResourceAnchor() override;
  long long getAsCpu() const { return as_cpup; }

  RWCString resourceName;
  long long as_cpup = NullValue;
};

/// One answer of the statistics client. Has no anchor.
class ZOVPSISample : public ZOVSample {
  ZOV_SAMPLE_CLASS(ZOVPSISample, ZOVSample)
  RWCString serverName, statisticsText;
};

/// Closes a stream of samples. Has no anchor.
class ZOVEndSample : public ZOVSample {
  ZOV_SAMPLE_CLASS(ZOVEndSample, ZOVSample)
};
