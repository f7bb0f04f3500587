// The anchor classes' rules: what identifies a resource, what a filter is compared by, and what a filter must
// give to name exactly one resource; and the hashes that order the tables.

#include "samples/anchors.h"

#include <array>

namespace {

constexpr unsigned int Identity = zov::AnchorField::Identity;
constexpr unsigned int Match = zov::AnchorField::Match;
constexpr unsigned int Specific = zov::AnchorField::Specific;
constexpr unsigned int Both = Match | Specific;
using enum zov::AnchorClass::TypeRule;
/// A class may have no fields, and an array may not.
constexpr zov::AnchorField EndOfFields = {nullptr, nullptr, 0, 0};

template <class Anchor>
constexpr zov::AnchorField text(RWCString Anchor::*field, unsigned int uses) {
  return {static_cast<RWCString ZOVResourceAnchor::*>(field), nullptr, 0, uses};
}
template <class Anchor>
constexpr zov::AnchorField number(int Anchor::*field, unsigned int uses, int wildcard = 0) {
  return {nullptr, static_cast<int ZOVResourceAnchor::*>(field), wildcard, uses};
}

}  // namespace

// ANCHOR(class, identifier, how sampleType is compared, uses of resourceName, fields...); A is the class.
#define ANCHOR(Class, id, typeRule, nameUses, ...)                                    \
  static constexpr auto Class##Fields = [] {                                          \
    using A [[maybe_unused]] = Class;                                                 \
    return std::to_array<zov::AnchorField>({__VA_ARGS__ __VA_OPT__(, ) EndOfFields}); \
  }();                                                                                \
  constinit const zov::AnchorClass Class::anchorClassInfo = {                         \
      id, #Class, typeRule, nameUses, {Class##Fields.data(), Class##Fields.size() - 1}};

ANCHOR(ZOVResourceAnchor, 31001, TypeEqual, Both)
ANCHOR(ZOVAppServerAnchor, 31002, TypeEqual, Both)
ANCHOR(ZOVContainerAnchor, 31003, TypeWildcard, Both, number(&A::summarySample, Both, ZOVSample::SummaryAny))
ANCHOR(ZOVContainerTransactionAnchor, 31004, TypeWildcard, Both,
       number(&A::summarySample, Both, ZOVSample::SummaryAny))
ANCHOR(ZOVObjectPoolAnchor, 31005, TypeWildcard, Both, number(&A::summarySample, Both, ZOVSample::SummaryAny))
ANCHOR(ZOVDBConnectionAnchor, 31006, TypeWildcard, Both,
       number(&A::summarySample, Both, ZOVSample::SummaryAny))
ANCHOR(ZOVCacheTemplateAnchor, 31007, TypeWildcard, Both,
       number(&A::summarySample, Both, ZOVSample::SummaryAny))
ANCHOR(ZOVJ2CPoolAnchor, 31008, TypeWildcard, Both, number(&A::summarySample, Both, ZOVSample::SummaryAny))
ANCHOR(ZOVORBInterceptorAnchor, 31009, TypeWildcard, Both,
       number(&A::summarySample, Both, ZOVSample::SummaryAny))
ANCHOR(ZOVServletSessionsAnchor, 31010, TypeWildcard, Both,
       number(&A::summarySample, Both, ZOVSample::SummaryAny))
ANCHOR(ZOVThreadPoolAnchor, 31011, TypeWildcard, Both, number(&A::summarySample, Both, ZOVSample::SummaryAny))
ANCHOR(ZOVCacheAnchor, 31012, TypeWildcard, Both)
ANCHOR(ZOVORBAnchor, 31013, TypeWildcard, Both)
ANCHOR(ZOVWLMClientAnchor, 31014, TypeWildcard, Both)
ANCHOR(ZOVWLMServerAnchor, 31015, TypeWildcard, Both)
ANCHOR(ZOVServerRequestSummaryAnchor, 31016, TypeWildcard, Both)
ANCHOR(ZOVEJBAnchor, 31017, TypeWildcard, Both, text(&A::containerName, Both))
ANCHOR(ZOVEJBMethodAnchor, 31018, TypeWildcard, Both, text(&A::containerName, Both),
       text(&A::methodName, Both))
ANCHOR(ZOVApplicationAnchor, 31019, TypeWildcard, Both, text(&A::virtualHostName, Both),
       number(&A::summarySample, Both, ZOVSample::SummaryAny))
ANCHOR(ZOVServletAnchor, 31020, TypeWildcard, Both, text(&A::virtualHostName, Both),
       number(&A::summarySample, Specific, ZOVSample::SummaryAny), text(&A::servletName, Both),
       text(&A::jspPath, Both), number(&A::servletType, Match, ZOVServletSample::ServletAny))
ANCHOR(ZOVProfilerSampleAnchor, 31021, TypeEqual, Both, number(&A::profilerId, Both))
ANCHOR(ZOVGCAnchor, 31022, TypeEqual, Both, number(&A::profilerId, Both))
ANCHOR(ZOVProfilerResourceAnchor, 31023, TypeEqual, Both, number(&A::profilerId, Both))
ANCHOR(ZOVWorkloadAnalysisAnchor, 31024, TypeEqual, Both, number(&A::profilerId, Both))
ANCHOR(ZOVTsl35ResourceAnchor, 31025, TypeEqual, Both, number(&A::profilerId, Both))
ANCHOR(ZOVThreadAnchor, 31026, TypeWildcard, Specific, number(&A::profilerId, Both),
       number(&A::threadId, Both))
ANCHOR(ZOVMethodAnchor, 31027, TypeWildcard, Both, number(&A::profilerId, Both), number(&A::threadId, Both),
       text(&A::className, Both), text(&A::signature, Match))
ANCHOR(ZOVContentionAnchor, 31028, TypeWildcard, Both, number(&A::profilerId, Both),
       number(&A::threadId, Both), text(&A::className, Both), text(&A::signature, Match),
       text(&A::lockName, Match))
ANCHOR(ZOVAFDetailAnchor, 31029, TypeIgnored, Specific, number(&A::profilerId, Both),
       number(&A::allocationFailureNumber, Both))
ANCHOR(ZOVGCDetailAnchor, 31030, TypeIgnored, Specific, number(&A::profilerId, Both),
       number(&A::allocationFailureNumber, Both), number(&A::cycleNumber, Both))
ANCHOR(ZOVWorkloadAnchor, 31031, TypeIgnored, Specific, number(&A::profilerId, Specific),
       number(&A::workloadType, Match), text(&A::applicationName, Both), text(&A::requestName, Match))
ANCHOR(ZOVWorkloadSumAnchor, 31032, TypeIgnored, Specific, number(&A::profilerId, Specific),
       number(&A::workloadType, Match), text(&A::applicationName, Both), text(&A::requestName, Match))
ANCHOR(ZOVWorkloadDetailAnchor, 31033, TypeIgnored, Specific, number(&A::profilerId, Specific),
       number(&A::workloadType, Match), text(&A::applicationName, Both), text(&A::requestName, Match),
       number(&A::delayType, Match), text(&A::delayDetail1, Both), text(&A::delayDetail2, Match),
       number(&A::delayCategory, Both))
ANCHOR(ZOVDataSourceAnchor, 31034, TypeIgnored, Specific, number(&A::profilerId, Specific),
       text(&A::dataSourceName, Both))
ANCHOR(ZOVXQAccessAnchor, 31035, TypeIgnored, Specific, number(&A::profilerId, Specific),
       text(&A::connectionName, Match), text(&A::queueName, Both))
ANCHOR(ZOVQTXSummaryAnchor, 31036, TypeIgnored, Specific, number(&A::profilerId, Specific),
       text(&A::gatewayName, Match), text(&A::serverName, Both), text(&A::programName, Match))
ANCHOR(ZOVAppSrvOverviewAnchor, 31037, TypeIgnored, Specific, number(&A::profilerId, Both),
       text(&A::nodeName, Match), text(&A::serverName, Both))
ANCHOR(ZOVTSLKeyValuePropertyAnchor, 31038, TypeEqual, Both, number(&A::profilerId, Identity))
ANCHOR(ZOVTSLEnvVarsAnchor, 31039, TypeEqual, Both, number(&A::profilerId, Identity))
ANCHOR(ZOVTSLJavaPropertyAnchor, 31040, TypeEqual, Both, number(&A::profilerId, Identity))
ANCHOR(ZOVHTTPAnchor, 31041, TypeIgnored, Both, text(&A::sessionName, Both))
ANCHOR(ZOVMethodSummaryAnchor, 31042, TypeIgnored, Both, text(&A::className, Both), text(&A::signature, Both))
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
