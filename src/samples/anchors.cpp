// The anchor classes' rules: what identifies a resource, what a filter is compared by, and what a filter must
// give to name exactly one resource; and the hashes that order the tables.

#include "samples/anchors.h"

namespace {

constexpr unsigned int Identity = ZOVAnchorField::Identity;
constexpr unsigned int Match = ZOVAnchorField::Match;
constexpr unsigned int Specific = ZOVAnchorField::Specific;
constexpr unsigned int Both = Match | Specific;
using enum ZOVAnchorClass::TypeRule;

template <class Anchor>
constexpr ZOVAnchorField text(RWCString Anchor::*field, unsigned int uses) {
  return {static_cast<RWCString ZOVResourceAnchor::*>(field), nullptr, 0, uses};
}
template <class Anchor>
constexpr ZOVAnchorField number(int Anchor::*field, unsigned int uses, int wildcard = 0) {
  return {nullptr, static_cast<int ZOVResourceAnchor::*>(field), wildcard, uses};
}

}  // namespace

// ANCHOR(class, identifier, how sampleType is compared, uses of resourceName, fields...)
#define ANCHOR(Class, id, typeRule, nameUses, ...)                                                        \
  static constexpr ZOVAnchorField Class##Fields[] = {__VA_ARGS__ __VA_OPT__(, ){nullptr, nullptr, 0, 0}}; \
  constinit const ZOVAnchorClass Class::anchorClassInfo = {                                               \
      id, #Class, typeRule, nameUses, {Class##Fields, std::size(Class##Fields) - 1}};

ANCHOR(ZOVResourceAnchor, 31001, TypeEqual, Both)
ANCHOR(ZOVAppServerAnchor, 31002, TypeEqual, Both)
ANCHOR(ZOVContainerAnchor, 31003, TypeWildcard, Both, number(&ZOVContainerAnchor::summarySample, Both, -1))
ANCHOR(ZOVContainerTransactionAnchor, 31004, TypeWildcard, Both,
       number(&ZOVContainerTransactionAnchor::summarySample, Both, -1))
ANCHOR(ZOVObjectPoolAnchor, 31005, TypeWildcard, Both, number(&ZOVObjectPoolAnchor::summarySample, Both, -1))
ANCHOR(ZOVDBConnectionAnchor, 31006, TypeWildcard, Both,
       number(&ZOVDBConnectionAnchor::summarySample, Both, -1))
ANCHOR(ZOVCacheTemplateAnchor, 31007, TypeWildcard, Both,
       number(&ZOVCacheTemplateAnchor::summarySample, Both, -1))
ANCHOR(ZOVJ2CPoolAnchor, 31008, TypeWildcard, Both, number(&ZOVJ2CPoolAnchor::summarySample, Both, -1))
ANCHOR(ZOVORBInterceptorAnchor, 31009, TypeWildcard, Both,
       number(&ZOVORBInterceptorAnchor::summarySample, Both, -1))
ANCHOR(ZOVServletSessionsAnchor, 31010, TypeWildcard, Both,
       number(&ZOVServletSessionsAnchor::summarySample, Both, -1))
ANCHOR(ZOVThreadPoolAnchor, 31011, TypeWildcard, Both, number(&ZOVThreadPoolAnchor::summarySample, Both, -1))
ANCHOR(ZOVCacheAnchor, 31012, TypeWildcard, Both)
ANCHOR(ZOVORBAnchor, 31013, TypeWildcard, Both)
ANCHOR(ZOVWLMClientAnchor, 31014, TypeWildcard, Both)
ANCHOR(ZOVWLMServerAnchor, 31015, TypeWildcard, Both)
ANCHOR(ZOVServerRequestSummaryAnchor, 31016, TypeWildcard, Both)
ANCHOR(ZOVEJBAnchor, 31017, TypeWildcard, Both, text(&ZOVEJBAnchor::containerName, Both))
ANCHOR(ZOVEJBMethodAnchor, 31018, TypeWildcard, Both, text(&ZOVEJBMethodAnchor::containerName, Both),
       text(&ZOVEJBMethodAnchor::methodName, Both))
ANCHOR(ZOVApplicationAnchor, 31019, TypeWildcard, Both, text(&ZOVApplicationAnchor::virtualHostName, Both),
       number(&ZOVApplicationAnchor::summarySample, Both, -1))
ANCHOR(ZOVServletAnchor, 31020, TypeWildcard, Both, text(&ZOVServletAnchor::virtualHostName, Both),
       number(&ZOVServletAnchor::summarySample, Specific, -1), text(&ZOVServletAnchor::servletName, Both),
       text(&ZOVServletAnchor::jspPath, Both), number(&ZOVServletAnchor::servletType, Match, -1))
ANCHOR(ZOVProfilerSampleAnchor, 31021, TypeEqual, Both, number(&ZOVProfilerSampleAnchor::profilerId, Both))
ANCHOR(ZOVGCAnchor, 31022, TypeEqual, Both, number(&ZOVGCAnchor::profilerId, Both))
ANCHOR(ZOVProfilerResourceAnchor, 31023, TypeEqual, Both,
       number(&ZOVProfilerResourceAnchor::profilerId, Both))
ANCHOR(ZOVWorkloadAnalysisAnchor, 31024, TypeEqual, Both,
       number(&ZOVWorkloadAnalysisAnchor::profilerId, Both))
ANCHOR(ZOVTsl35ResourceAnchor, 31025, TypeEqual, Both, number(&ZOVTsl35ResourceAnchor::profilerId, Both))
ANCHOR(ZOVThreadAnchor, 31026, TypeWildcard, Specific, number(&ZOVThreadAnchor::profilerId, Both),
       number(&ZOVThreadAnchor::threadId, Both))
ANCHOR(ZOVMethodAnchor, 31027, TypeWildcard, Both, number(&ZOVMethodAnchor::profilerId, Both),
       number(&ZOVMethodAnchor::threadId, Both), text(&ZOVMethodAnchor::className, Both),
       text(&ZOVMethodAnchor::signature, Match))
ANCHOR(ZOVContentionAnchor, 31028, TypeWildcard, Both, number(&ZOVContentionAnchor::profilerId, Both),
       number(&ZOVContentionAnchor::threadId, Both), text(&ZOVContentionAnchor::className, Both),
       text(&ZOVContentionAnchor::signature, Match), text(&ZOVContentionAnchor::lockName, Match))
ANCHOR(ZOVAFDetailAnchor, 31029, TypeIgnored, Specific, number(&ZOVAFDetailAnchor::profilerId, Both),
       number(&ZOVAFDetailAnchor::allocationFailureNumber, Both))
ANCHOR(ZOVGCDetailAnchor, 31030, TypeIgnored, Specific, number(&ZOVGCDetailAnchor::profilerId, Both),
       number(&ZOVGCDetailAnchor::allocationFailureNumber, Both),
       number(&ZOVGCDetailAnchor::cycleNumber, Both))
ANCHOR(ZOVWorkloadAnchor, 31031, TypeIgnored, Specific, number(&ZOVWorkloadAnchor::profilerId, Specific),
       number(&ZOVWorkloadAnchor::workloadType, Match), text(&ZOVWorkloadAnchor::applicationName, Both),
       text(&ZOVWorkloadAnchor::requestName, Match))
ANCHOR(ZOVWorkloadSumAnchor, 31032, TypeIgnored, Specific,
       number(&ZOVWorkloadSumAnchor::profilerId, Specific),
       number(&ZOVWorkloadSumAnchor::workloadType, Match), text(&ZOVWorkloadSumAnchor::applicationName, Both),
       text(&ZOVWorkloadSumAnchor::requestName, Match))
ANCHOR(ZOVWorkloadDetailAnchor, 31033, TypeIgnored, Specific,
       number(&ZOVWorkloadDetailAnchor::profilerId, Specific),
       number(&ZOVWorkloadDetailAnchor::workloadType, Match),
       text(&ZOVWorkloadDetailAnchor::applicationName, Both),
       text(&ZOVWorkloadDetailAnchor::requestName, Match), number(&ZOVWorkloadDetailAnchor::delayType, Match),
       text(&ZOVWorkloadDetailAnchor::delayDetail1, Both),
       text(&ZOVWorkloadDetailAnchor::delayDetail2, Match),
       number(&ZOVWorkloadDetailAnchor::delayCategory, Both))
ANCHOR(ZOVDataSourceAnchor, 31034, TypeIgnored, Specific, number(&ZOVDataSourceAnchor::profilerId, Specific),
       text(&ZOVDataSourceAnchor::dataSourceName, Both))
ANCHOR(ZOVXQAccessAnchor, 31035, TypeIgnored, Specific, number(&ZOVXQAccessAnchor::profilerId, Specific),
       text(&ZOVXQAccessAnchor::connectionName, Match), text(&ZOVXQAccessAnchor::queueName, Both))
ANCHOR(ZOVQTXSummaryAnchor, 31036, TypeIgnored, Specific, number(&ZOVQTXSummaryAnchor::profilerId, Specific),
       text(&ZOVQTXSummaryAnchor::gatewayName, Match), text(&ZOVQTXSummaryAnchor::serverName, Both),
       text(&ZOVQTXSummaryAnchor::programName, Match))
ANCHOR(ZOVAppSrvOverviewAnchor, 31037, TypeIgnored, Specific,
       number(&ZOVAppSrvOverviewAnchor::profilerId, Both), text(&ZOVAppSrvOverviewAnchor::nodeName, Match),
       text(&ZOVAppSrvOverviewAnchor::serverName, Both))
ANCHOR(ZOVTSLKeyValuePropertyAnchor, 31038, TypeEqual, Both,
       number(&ZOVTSLKeyValuePropertyAnchor::profilerId, Identity))
ANCHOR(ZOVTSLEnvVarsAnchor, 31039, TypeEqual, Both, number(&ZOVTSLEnvVarsAnchor::profilerId, Identity))
ANCHOR(ZOVTSLJavaPropertyAnchor, 31040, TypeEqual, Both,
       number(&ZOVTSLJavaPropertyAnchor::profilerId, Identity))
ANCHOR(ZOVHTTPAnchor, 31041, TypeIgnored, Both, text(&ZOVHTTPAnchor::sessionName, Both))
ANCHOR(ZOVMethodSummaryAnchor, 31042, TypeIgnored, Both, text(&ZOVMethodSummaryAnchor::className, Both),
       text(&ZOVMethodSummaryAnchor::signature, Both))
ANCHOR(ZOVMessagesAnchor, 31043, TypeEqual, Both)
ANCHOR(ZOVBSMailAnchor, 31044, TypeEqual, Both)
ANCHOR(ZOVBSImapAnchor, 31045, TypeEqual, Both)
ANCHOR(ZOVBSPopAnchor, 31046, TypeEqual, Both)
ANCHOR(ZOVBSQueueManagerAnchor, 31047, TypeEqual, Both)
#undef ANCHOR

bool ZOVMethodAnchor::doesItMatch(const ZOVResourceAnchor* filter) const {
  if (filter == nullptr || filter->isA() != isA()) return false;
  if (filter->getSampleType() != ZOVSample::SampleTypeMethodSummary) {
    return ZOVResourceAnchor::doesItMatch(filter);
  }
  const auto& wanted = *static_cast<const ZOVMethodAnchor*>(filter);
  return sampleType == wanted.sampleType && (wanted.profilerId == 0 || wanted.profilerId == profilerId) &&
         className == wanted.className && resourceName == wanted.resourceName &&
         signature == wanted.signature;
}

// Where a class has no hash of its own, that of its base stands.
namespace {
template <class... Texts>
unsigned int hashOf(const Texts&... texts) {
  return (ZOVResourceAnchor::createHashKey(texts.view()) ^ ...);
}
constexpr unsigned int chained(unsigned int hash, int number) {
  return hash * 29 + static_cast<unsigned int>(number);
}
}  // namespace

unsigned int ZOVEJBAnchor::getHashKey() const {
  return hashOf(containerName);
}
unsigned int ZOVEJBMethodAnchor::getHashKey() const {
  return hashOf(methodName, resourceName);
}
unsigned int ZOVApplicationAnchor::getHashKey() const {
  return hashOf(virtualHostName, resourceName);
}
unsigned int ZOVServletAnchor::getHashKey() const {
  return hashOf(resourceName, servletName);
}
unsigned int ZOVMethodAnchor::getHashKey() const {
  return hashOf(resourceName, className);
}
unsigned int ZOVMethodSummaryAnchor::getHashKey() const {
  return hashOf(resourceName, className);
}
unsigned int ZOVWorkloadAnchor::getHashKey() const {
  return hashOf(applicationName, requestName);
}
unsigned int ZOVWorkloadDetailAnchor::getHashKey() const {
  return hashOf(applicationName, requestName, delayDetail1, delayDetail2);
}
unsigned int ZOVHTTPAnchor::getHashKey() const {
  return hashOf(sessionName);
}
unsigned int ZOVDataSourceAnchor::getHashKey() const {
  return hashOf(dataSourceName);
}
unsigned int ZOVXQAccessAnchor::getHashKey() const {
  return hashOf(connectionName, queueName);
}
unsigned int ZOVQTXSummaryAnchor::getHashKey() const {
  return hashOf(gatewayName, serverName);
}

unsigned int ZOVProfilerSampleAnchor::getHashKey() const {
  return static_cast<unsigned int>(profilerId);
}

unsigned int ZOVAFDetailAnchor::getHashKey() const {
  return chained(static_cast<unsigned int>(profilerId) + 551, allocationFailureNumber);
}

unsigned int ZOVGCDetailAnchor::getHashKey() const {
  return chained(chained(static_cast<unsigned int>(profilerId) + 551, allocationFailureNumber), cycleNumber);
}
