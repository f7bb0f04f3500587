#pragma once
// The anchor classes. Each adds the fields that identify its resource; anchors.cpp says in one table which of
// them take part in matching and in being specific. The same constructors make identities and filters; a
// parameter left out is the wildcard. Where a class gives no name, resourceName stays empty.
//
// The classes of ZOVProfilerSampleAnchor are specific only with a resourceName, which most of them never
// have: such a filter always walks its table.

#include "samples/resource_anchor.h"
#include "samples/sample_classes.h"

class ZOVAppServerAnchor : public ZOVResourceAnchor {
 public:
  ZOV_ANCHOR_CLASS(ZOVAppServerAnchor)
  explicit ZOVAppServerAnchor(const RWCString& serverName = {})
      : ZOVResourceAnchor(ZOVSample::SampleTypeApplicationServer, serverName) {}
};

/// Anchors of resources that may be summed up: the key `summary` is part of the identity.
#define ZOV_SUMMARY_ANCHOR(Class, type)                                             \
  class Class : public ZOVResourceAnchor {                                          \
   public:                                                                          \
    ZOV_ANCHOR_CLASS(Class)                                                         \
    explicit Class(const RWCString& name = {}, int summary = ZOVSample::SummaryAny) \
        : ZOVResourceAnchor(ZOVSample::type, name), summarySample(summary) {}       \
                                                                                    \
    int summarySample;                                                              \
  }
ZOV_SUMMARY_ANCHOR(ZOVDBConnectionAnchor, SampleTypeDBConnection);
ZOV_SUMMARY_ANCHOR(ZOVCacheTemplateAnchor, SampleTypeCacheTemplate);
ZOV_SUMMARY_ANCHOR(ZOVJ2CPoolAnchor, SampleTypeJ2CPool);
ZOV_SUMMARY_ANCHOR(ZOVORBInterceptorAnchor, SampleTypeORBInterceptor);
ZOV_SUMMARY_ANCHOR(ZOVServletSessionsAnchor, SampleTypeServletSessions);
ZOV_SUMMARY_ANCHOR(ZOVThreadPoolAnchor, SampleTypeThreadPool);

class ZOVContainerAnchor : public ZOVResourceAnchor {
 public:
  ZOV_ANCHOR_CLASS(ZOVContainerAnchor)
  explicit ZOVContainerAnchor(const RWCString& container = {}, int summary = ZOVSample::SummaryAny,
                              ZOVSample::_SampleType type = ZOVSample::SampleTypeContainer)
      : ZOVResourceAnchor(type, container), summarySample(summary) {}

  int summarySample;
};

class ZOVContainerTransactionAnchor : public ZOVContainerAnchor {
 public:
  ZOV_ANCHOR_CLASS(ZOVContainerTransactionAnchor)
  explicit ZOVContainerTransactionAnchor(const RWCString& container = {}, int summary = ZOVSample::SummaryAny)
      : ZOVContainerAnchor(container, summary, ZOVSample::SampleTypeTransaction) {}
};

class ZOVObjectPoolAnchor : public ZOVContainerAnchor {
 public:
  ZOV_ANCHOR_CLASS(ZOVObjectPoolAnchor)
  explicit ZOVObjectPoolAnchor(const RWCString& container = {}, int summary = ZOVSample::SummaryAny)
      : ZOVContainerAnchor(container, summary, ZOVSample::SampleTypeObjectPool) {}
};

/// resourceName is the EJB.
class ZOVEJBAnchor : public ZOVResourceAnchor {
 public:
  ZOV_ANCHOR_CLASS(ZOVEJBAnchor)
  explicit ZOVEJBAnchor(const RWCString& container = {}, const RWCString& ejb = {},
                        ZOVSample::_SampleType type = ZOVSample::SampleTypeEJB)
      : ZOVResourceAnchor(type, ejb), containerName(container) {}

  RWCString containerName;

 protected:
  unsigned int getHashKey() const override;
};

class ZOVEJBMethodAnchor : public ZOVEJBAnchor {
 public:
  ZOV_ANCHOR_CLASS(ZOVEJBMethodAnchor)
  explicit ZOVEJBMethodAnchor(const RWCString& container = {}, const RWCString& ejb = {},
                              const RWCString& method = {})
      : ZOVEJBAnchor(container, ejb, ZOVSample::SampleTypeEJBMethod), methodName(method) {}

  RWCString methodName;

 protected:
  unsigned int getHashKey() const override;
};

/// resourceName is the web application.
class ZOVApplicationAnchor : public ZOVResourceAnchor {
 public:
  ZOV_ANCHOR_CLASS(ZOVApplicationAnchor)
  explicit ZOVApplicationAnchor(const RWCString& application = {}, const RWCString& virtualHost = {},
                                int summary = ZOVSample::SummaryAny,
                                ZOVSample::_SampleType type = ZOVSample::SampleTypeWebApplication)
      : ZOVResourceAnchor(type, application), virtualHostName(virtualHost), summarySample(summary) {}

  RWCString virtualHostName;
  int summarySample;

 protected:
  unsigned int getHashKey() const override;
};

/// A servlet is never a summary, so its summarySample stays the wildcard and its filters always walk.
class ZOVServletAnchor : public ZOVApplicationAnchor {
 public:
  ZOV_ANCHOR_CLASS(ZOVServletAnchor)
  explicit ZOVServletAnchor(const RWCString& application = {}, const RWCString& virtualHost = {},
                            const RWCString& servlet = {}, const RWCString& jsp = {},
                            int type = ZOVServletSample::ServletAny)
      : ZOVApplicationAnchor(application, virtualHost, ZOVSample::SummaryAny, ZOVSample::SampleTypeServlet),
        servletName(servlet),
        jspPath(jsp),
        servletType(type) {}

  RWCString servletName, jspPath;
  int servletType;

 protected:
  unsigned int getHashKey() const override;
};

// --- Resources that a data collector's instance (process_id) reports.

class ZOVProfilerSampleAnchor : public ZOVResourceAnchor {
 public:
  ZOV_ANCHOR_CLASS(ZOVProfilerSampleAnchor)
  explicit ZOVProfilerSampleAnchor(ZOVSample::_SampleType type, int profiler = 0, const RWCString& name = {})
      : ZOVResourceAnchor(type, name), profilerId(profiler) {}

  int profilerId;

 protected:
  unsigned int getHashKey() const override;
};

class ZOVThreadAnchor : public ZOVProfilerSampleAnchor {
 public:
  ZOV_ANCHOR_CLASS(ZOVThreadAnchor)
  explicit ZOVThreadAnchor(int profiler = 0, int thread = 0,
                           ZOVSample::_SampleType type = ZOVSample::SampleTypeThread,
                           const RWCString& name = {})
      : ZOVProfilerSampleAnchor(type, profiler, name), threadId(thread) {}

  int threadId;
};

/// resourceName is the method. A filter of the method summary type compares names exactly, and no thread.
class ZOVMethodAnchor : public ZOVThreadAnchor {
 public:
  ZOV_ANCHOR_CLASS(ZOVMethodAnchor)
  ZOVMethodAnchor(int profiler, int thread, const RWCString& method, const RWCString& itsClass,
                  const RWCString& itsSignature, ZOVSample::_SampleType type = ZOVSample::SampleTypeMethod)
      : ZOVThreadAnchor(profiler, thread, type, method), className(itsClass), signature(itsSignature) {}
  /// Of the method summary type.
  ZOVMethodAnchor(int profiler, const RWCString& method, const RWCString& itsClass,
                  const RWCString& itsSignature)
      : ZOVMethodAnchor(profiler, 0, method, itsClass, itsSignature, ZOVSample::SampleTypeMethodSummary) {}
  bool doesItMatch(const ZOVResourceAnchor* filter) const override;

  RWCString className, signature;

 protected:
  unsigned int getHashKey() const override;
};

class ZOVContentionAnchor : public ZOVMethodAnchor {
 public:
  ZOV_ANCHOR_CLASS(ZOVContentionAnchor)
  ZOVContentionAnchor(int profiler, int thread, const RWCString& method, const RWCString& itsClass,
                      const RWCString& itsSignature, const RWCString& lock)
      : ZOVMethodAnchor(profiler, thread, method, itsClass, itsSignature, ZOVSample::SampleTypeContention),
        lockName(lock) {}
  bool doesItMatch(const ZOVResourceAnchor* filter) const override {
    return ZOVResourceAnchor::doesItMatch(filter);
  }

  RWCString lockName;
};

class ZOVGCAnchor : public ZOVProfilerSampleAnchor {
 public:
  ZOV_ANCHOR_CLASS(ZOVGCAnchor)
  explicit ZOVGCAnchor(int profiler = 0)
      : ZOVProfilerSampleAnchor(ZOVSample::SampleTypeGarbageCollection, profiler) {}
};

class ZOVProfilerResourceAnchor : public ZOVProfilerSampleAnchor {
 public:
  ZOV_ANCHOR_CLASS(ZOVProfilerResourceAnchor)
  explicit ZOVProfilerResourceAnchor(int profiler = 0)
      : ZOVProfilerSampleAnchor(ZOVSample::SampleTypeProfilerResource, profiler) {}
};

class ZOVAFDetailAnchor : public ZOVProfilerSampleAnchor {
 public:
  ZOV_ANCHOR_CLASS(ZOVAFDetailAnchor)
  explicit ZOVAFDetailAnchor(int profiler = 0, int allocationFailure = 0)
      : ZOVProfilerSampleAnchor(ZOVSample::SampleTypeAllocationFailure, profiler),
        allocationFailureNumber(allocationFailure) {}

  int allocationFailureNumber;

 protected:
  unsigned int getHashKey() const override;
};

class ZOVGCDetailAnchor : public ZOVProfilerSampleAnchor {
 public:
  ZOV_ANCHOR_CLASS(ZOVGCDetailAnchor)
  explicit ZOVGCDetailAnchor(int profiler = 0, int allocationFailure = 0, int cycle = 0)
      : ZOVProfilerSampleAnchor(ZOVSample::SampleTypeGCCycle, profiler),
        allocationFailureNumber(allocationFailure),
        cycleNumber(cycle) {}

  int allocationFailureNumber, cycleNumber;

 protected:
  unsigned int getHashKey() const override;
};

class ZOVWorkloadAnalysisAnchor : public ZOVProfilerSampleAnchor {
 public:
  ZOV_ANCHOR_CLASS(ZOVWorkloadAnalysisAnchor)
  using ZOVProfilerSampleAnchor::ZOVProfilerSampleAnchor;
};

class ZOVWorkloadAnchor : public ZOVWorkloadAnalysisAnchor {
 public:
  ZOV_ANCHOR_CLASS(ZOVWorkloadAnchor)
  explicit ZOVWorkloadAnchor(int profiler = 0, int type = ZOVWorkloadBaseSample::WorkloadAny,
                             const RWCString& application = {}, const RWCString& request = {},
                             ZOVSample::_SampleType samples = ZOVSample::SampleTypeWorkload)
      : ZOVWorkloadAnalysisAnchor(samples, profiler),
        workloadType(type),
        applicationName(application),
        requestName(request) {}

  int workloadType;
  RWCString applicationName, requestName;

 protected:
  unsigned int getHashKey() const override;
};

class ZOVWorkloadSumAnchor : public ZOVWorkloadAnchor {
 public:
  ZOV_ANCHOR_CLASS(ZOVWorkloadSumAnchor)
  explicit ZOVWorkloadSumAnchor(int profiler = 0, int type = ZOVWorkloadBaseSample::WorkloadAny,
                                const RWCString& application = {}, const RWCString& request = {})
      : ZOVWorkloadAnchor(profiler, type, application, request, ZOVSample::SampleTypeWorkloadSummary) {}
};

class ZOVWorkloadDetailAnchor : public ZOVWorkloadAnchor {
 public:
  ZOV_ANCHOR_CLASS(ZOVWorkloadDetailAnchor)
  explicit ZOVWorkloadDetailAnchor(int profiler = 0, int type = ZOVWorkloadBaseSample::WorkloadAny,
                                   const RWCString& application = {}, const RWCString& request = {},
                                   int delay = ZOVWorkloadDetailSample::DelayAny,
                                   const RWCString& detail1 = {}, const RWCString& detail2 = {},
                                   int category = 0)
      : ZOVWorkloadAnchor(profiler, type, application, request, ZOVSample::SampleTypeWorkloadDetail),
        delayType(delay),
        delayDetail1(detail1),
        delayDetail2(detail2),
        delayCategory(category) {}

  int delayType;
  RWCString delayDetail1, delayDetail2;
  int delayCategory;

 protected:
  unsigned int getHashKey() const override;
};

class ZOVDataSourceAnchor : public ZOVWorkloadAnalysisAnchor {
 public:
  ZOV_ANCHOR_CLASS(ZOVDataSourceAnchor)
  explicit ZOVDataSourceAnchor(int profiler = 0, const RWCString& dataSource = {})
      : ZOVWorkloadAnalysisAnchor(ZOVSample::SampleTypeDataSource, profiler), dataSourceName(dataSource) {}

  RWCString dataSourceName;

 protected:
  unsigned int getHashKey() const override;
};

class ZOVXQAccessAnchor : public ZOVWorkloadAnalysisAnchor {
 public:
  ZOV_ANCHOR_CLASS(ZOVXQAccessAnchor)
  explicit ZOVXQAccessAnchor(int profiler = 0, const RWCString& connection = {}, const RWCString& queue = {})
      : ZOVWorkloadAnalysisAnchor(ZOVSample::SampleTypeXQAccess, profiler),
        connectionName(connection),
        queueName(queue) {}

  RWCString connectionName, queueName;

 protected:
  unsigned int getHashKey() const override;
};

class ZOVQTXSummaryAnchor : public ZOVWorkloadAnalysisAnchor {
 public:
  ZOV_ANCHOR_CLASS(ZOVQTXSummaryAnchor)
  explicit ZOVQTXSummaryAnchor(int profiler = 0, const RWCString& gateway = {}, const RWCString& server = {},
                               const RWCString& program = {})
      : ZOVWorkloadAnalysisAnchor(ZOVSample::SampleTypeQTXSummary, profiler),
        gatewayName(gateway),
        serverName(server),
        programName(program) {}

  RWCString gatewayName, serverName, programName;

 protected:
  unsigned int getHashKey() const override;
};

/// What a server reports of itself at the start of a session: never obsolete.
class ZOVTsl35ResourceAnchor : public ZOVWorkloadAnalysisAnchor {
 public:
  ZOV_ANCHOR_CLASS(ZOVTsl35ResourceAnchor)
  using ZOVWorkloadAnalysisAnchor::ZOVWorkloadAnalysisAnchor;
  bool isObsolete(unsigned int) const override { return false; }
};

/// profilerId holds server_number.
class ZOVAppSrvOverviewAnchor : public ZOVTsl35ResourceAnchor {
 public:
  ZOV_ANCHOR_CLASS(ZOVAppSrvOverviewAnchor)
  explicit ZOVAppSrvOverviewAnchor(int number = 0, const RWCString& node = {}, const RWCString& server = {})
      : ZOVTsl35ResourceAnchor(ZOVSample::SampleTypeServerOverview, number),
        nodeName(node),
        serverName(server) {}

  RWCString nodeName, serverName;
};

/// resourceName is the property's name; profilerId holds server_number.
class ZOVTSLKeyValuePropertyAnchor : public ZOVTsl35ResourceAnchor {
 public:
  ZOV_ANCHOR_CLASS(ZOVTSLKeyValuePropertyAnchor)
  explicit ZOVTSLKeyValuePropertyAnchor(int number = 0, const RWCString& name = {},
                                        ZOVSample::_SampleType type = ZOVSample::SampleTypeNone)
      : ZOVTsl35ResourceAnchor(type, number, name) {}

 protected:
  unsigned int getHashKey() const override { return createHashKey(resourceName.view()); }
};

class ZOVTSLEnvVarsAnchor : public ZOVTSLKeyValuePropertyAnchor {
 public:
  ZOV_ANCHOR_CLASS(ZOVTSLEnvVarsAnchor)
  explicit ZOVTSLEnvVarsAnchor(int number = 0, const RWCString& variable = {})
      : ZOVTSLKeyValuePropertyAnchor(number, variable, ZOVSample::SampleTypeEnvironmentVariable) {}
};

class ZOVTSLJavaPropertyAnchor : public ZOVTSLKeyValuePropertyAnchor {
 public:
  ZOV_ANCHOR_CLASS(ZOVTSLJavaPropertyAnchor)
  explicit ZOVTSLJavaPropertyAnchor(int number = 0, const RWCString& property = {})
      : ZOVTSLKeyValuePropertyAnchor(number, property, ZOVSample::SampleTypeJavaProperty) {}
};

// --- Others.

/// resourceName is the web application.
class ZOVHTTPAnchor : public ZOVResourceAnchor {
 public:
  ZOV_ANCHOR_CLASS(ZOVHTTPAnchor)
  explicit ZOVHTTPAnchor(const RWCString& application = {}, const RWCString& session = {})
      : ZOVResourceAnchor(ZOVSample::SampleTypeHTTPSession, application), sessionName(session) {}

  RWCString sessionName;

 protected:
  unsigned int getHashKey() const override;
};

/// resourceName is the method.
class ZOVMethodSummaryAnchor : public ZOVResourceAnchor {
 public:
  ZOV_ANCHOR_CLASS(ZOVMethodSummaryAnchor)
  explicit ZOVMethodSummaryAnchor(const RWCString& method = {}, const RWCString& itsClass = {},
                                  const RWCString& itsSignature = {})
      : ZOVResourceAnchor(ZOVSample::SampleTypeMethodSummary, method),
        className(itsClass),
        signature(itsSignature) {}

  RWCString className, signature;

 protected:
  unsigned int getHashKey() const override;
};

/// Anchors that have nothing but their name.
#define ZOV_NAMED_ANCHOR(Class, type)                                                        \
  class Class : public ZOVResourceAnchor {                                                   \
   public:                                                                                   \
    ZOV_ANCHOR_CLASS(Class)                                                                  \
    explicit Class(const RWCString& name = {}) : ZOVResourceAnchor(ZOVSample::type, name) {} \
  }
ZOV_NAMED_ANCHOR(ZOVCacheAnchor, SampleTypeCache);
ZOV_NAMED_ANCHOR(ZOVORBAnchor, SampleTypeORB);
ZOV_NAMED_ANCHOR(ZOVWLMClientAnchor, SampleTypeWLMClient);
ZOV_NAMED_ANCHOR(ZOVWLMServerAnchor, SampleTypeWLMServer);

/// Anchors of which a server has one.
#define ZOV_SINGLE_ANCHOR(Class, type)              \
  class Class : public ZOVResourceAnchor {          \
   public:                                          \
    ZOV_ANCHOR_CLASS(Class)                         \
    Class() : ZOVResourceAnchor(ZOVSample::type) {} \
  }
ZOV_SINGLE_ANCHOR(ZOVMessagesAnchor, SampleTypeMessage);
ZOV_SINGLE_ANCHOR(ZOVServerRequestSummaryAnchor, SampleTypeServerRequestSummary);
ZOV_SINGLE_ANCHOR(ZOVBSMailAnchor, SampleTypeBSMail);
ZOV_SINGLE_ANCHOR(ZOVBSImapAnchor, SampleTypeBSImap);
ZOV_SINGLE_ANCHOR(ZOVBSPopAnchor, SampleTypeBSPop);
ZOV_SINGLE_ANCHOR(ZOVBSQueueManagerAnchor, SampleTypeBSQueueManager);

#undef ZOV_SUMMARY_ANCHOR
#undef ZOV_NAMED_ANCHOR
#undef ZOV_SINGLE_ANCHOR
