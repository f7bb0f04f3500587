// Where the sample classes differ from the core: their anchors, and the values that they fold.

#include "samples/sample_classes.h"

#include <span>

#include "runtime/process_cpu.h"
#include "runtime/trace_scope.h"
#include "samples/anchors.h"
#include "samples/arithmetic.h"

static DGT1_Unit traceUnit("ZOVCSCLS");

namespace {

enum : int {
  KeyProfilerId = 4,
  KeySummary = 17,
  KeyServletType = 272,
  KeyInterval = 314,
  KeyWaitTime = 246,
  KeyTimeHeld = 247,
  KeyCollections = 352,
  KeyWorkloadType = 700,
  KeyRequests = 703,
  KeyRequestTime = 704,
  KeyDelayType = 750,
  KeyDelayCategory = 763,
  KeySessionTime = 770,
  KeyServerNumber = 833,
  KeyAllocationFailure = 1061,
  KeyCycle = 1076,
};

struct KeyPair {
  int key, into;
};

int foldedInto(std::span<const KeyPair> pairs, int key) {
  for (const KeyPair& pair : pairs) {
    if (pair.key == key) return pair.into;
  }
  return -1;
}

// Entity, stateful and stateless beans of a container.
constexpr KeyPair SumNumericKeys[] = {{159, 174}, {160, 175}, {161, 176}, {162, 177}, {157, 178},
                                      {158, 179}, {170, 174}, {171, 175}, {172, 176}, {173, 177},
                                      {168, 178}, {169, 179}, {152, 178}, {153, 179}};
constexpr KeyPair SumPerfLoadKeys[] = {{154, 181}, {155, 180}, {156, 182}, {165, 181},
                                       {166, 180}, {167, 182}, {150, 181}, {151, 182}};
// The three kinds of bean: 210 live, 209 active.
constexpr KeyPair EJBLoadKeys[] = {{150, 210}, {154, 210}, {165, 210}, {155, 209}, {166, 209}};

/// Identities take the low 32 bits of a key.
int number(const ZOVSample& sample, int key) {
  return static_cast<int>(sample.getNumericData(key));
}

}  // namespace

ZOVResourceAnchor* ZOVAppServerSample::getResourceAnchor() {
  return new ZOVAppServerAnchor(serverName);
}

void ZOVAppServerSample::saveRollUpValues(const long long (&totals)[10]) {
  static constexpr int keys[10] = {78, 240, 241, 242, 207, 129, 130, 131, 260, 261};
  for (std::size_t i = 0; i < std::size(keys); ++i) saveNumericData(keys[i], totals[i]);
}

long long ZOVAppServerSample::getProcessCPUUsage(unsigned int processId) {
  return zovProcessCPUUsage(processId);
}

long long ZOVAppServerSample::getNumProcessors() {
  return zovNumProcessors();
}

void ZOVContainerSample::saveNumericData(int key, long long value) {
  const int into = foldedInto(SumNumericKeys, key);
  if (into < 0) {
    ZOVSample::saveNumericData(key, value);
  } else if (value != NullValue) {
    sumNumericData(into, value);
  }
}

void ZOVContainerSample::saveStatInfoData(int key, double total, double numSamples) {
  const int into = foldedInto(SumPerfLoadKeys, key);
  if (into >= 0 && zovToInteger(numSamples) != NullValue) sumStatInfoData(into, total, numSamples);
  ZOVSample::saveStatInfoData(key, total, numSamples);
}

ZOVResourceAnchor* ZOVContainerSample::getResourceAnchor() {
  return new ZOVContainerAnchor(containerName, number(*this, KeySummary));
}

ZOVResourceAnchor* ZOVTransactionSample::getResourceAnchor() {
  return new ZOVContainerTransactionAnchor(containerName, number(*this, KeySummary));
}

ZOVResourceAnchor* ZOVObjectPoolSample::getResourceAnchor() {
  return new ZOVObjectPoolAnchor(containerName, number(*this, KeySummary));
}

void ZOVEJBSample::saveStatInfoData(int key, double total, double numSamples) {
  const int into = foldedInto(EJBLoadKeys, key);
  ZOVSample::saveStatInfoData(into < 0 ? key : into, total, numSamples);
}

ZOVResourceAnchor* ZOVEJBSample::getResourceAnchor() {
  return new ZOVEJBAnchor(containerName, ejbName);
}

void ZOVDBConnectPoolSample::rate(const ZOVSample* previous) {
  ZOVSample::rate(previous);
  _NumericValue& waitTime = *getNumericValueEntry(KeyWaitTime);
  if (waitTime.rateValid || !getNumericValueEntry(KeyTimeHeld)->rateValid) return;
  waitTime.rateValid = 1;
  waitTime.average = 0;
}

ZOVResourceAnchor* ZOVDBConnectPoolSample::getResourceAnchor() {
  return new ZOVDBConnectionAnchor(dataSourceName, number(*this, KeySummary));
}

ZOVResourceAnchor* ZOVApplicationSample::getResourceAnchor() {
  return new ZOVApplicationAnchor(applicationName, virtualHostName, number(*this, KeySummary));
}

ZOVResourceAnchor* ZOVServletSample::getResourceAnchor() {
  return new ZOVServletAnchor(applicationName, virtualHostName, servletName, jspPath,
                              number(*this, KeyServletType));
}

ZOVResourceAnchor* ZOVCacheSample::getResourceAnchor() {
  return new ZOVCacheAnchor(cacheName);
}

ZOVResourceAnchor* ZOVCacheTemplateSample::getResourceAnchor() {
  return new ZOVCacheTemplateAnchor(templateName, number(*this, KeySummary));
}

ZOVResourceAnchor* ZOVJ2CPoolSample::getResourceAnchor() {
  return new ZOVJ2CPoolAnchor(connectionFactoryName, number(*this, KeySummary));
}

ZOVResourceAnchor* ZOVServletSessionsSample::getResourceAnchor() {
  return new ZOVServletSessionsAnchor(applicationName, number(*this, KeySummary));
}

ZOVResourceAnchor* ZOVThreadPoolSample::getResourceAnchor() {
  return new ZOVThreadPoolAnchor(threadPoolName, number(*this, KeySummary));
}

ZOVResourceAnchor* ZOVWLMClientSample::getResourceAnchor() {
  return new ZOVWLMClientAnchor(clientName);
}

ZOVResourceAnchor* ZOVWLMServerSample::getResourceAnchor() {
  return new ZOVWLMServerAnchor(serverName);
}

ZOVResourceAnchor* ZOVBSMailSample::getResourceAnchor() {
  return new ZOVBSMailAnchor;
}

ZOVResourceAnchor* ZOVBSImapSample::getResourceAnchor() {
  return new ZOVBSImapAnchor;
}

ZOVResourceAnchor* ZOVBSPopSample::getResourceAnchor() {
  return new ZOVBSPopAnchor;
}

ZOVResourceAnchor* ZOVBSQueueManagerSample::getResourceAnchor() {
  return new ZOVBSQueueManagerAnchor;
}

void ZOVGarbageCollectionSample::mergeNumericData(const ZOVSample* other, int key, _NumericValue* entry) {
  constexpr int keyA = 354;
  constexpr int keyB = 355;
  if ((key == keyA || key == keyB) && other->getTotalCount(KeyCollections) == 0) return;
  ZOVSample::mergeNumericData(other, key, entry);
}

ZOVResourceAnchor* ZOVGarbageCollectionSample::getResourceAnchor() {
  return new ZOVGCAnchor(number(*this, KeyProfilerId));
}

ZOVResourceAnchor* ZOVAFDetailSample::getResourceAnchor() {
  return new ZOVAFDetailAnchor(number(*this, KeyProfilerId), number(*this, KeyAllocationFailure));
}

ZOVResourceAnchor* ZOVGCDetailSample::getResourceAnchor() {
  return new ZOVGCDetailAnchor(number(*this, KeyProfilerId), number(*this, KeyAllocationFailure),
                               number(*this, KeyCycle));
}

ZOVResourceAnchor* ZOVWorkloadSumSample::getResourceAnchor() {
  return new ZOVWorkloadSumAnchor(number(*this, KeyProfilerId), number(*this, KeyWorkloadType),
                                  applicationName, requestName);
}

void ZOVWorkloadSumSample::createSummarizedSamples(RWCollection& anchors) {
  ZOV_TRACE(Public);
  auto* summary = new ZOVServerRequestSummary;
  summary->assign(*this);
  ZOVResourceAnchor* anchor = summary->getResourceAnchor();
  if (auto* present = static_cast<ZOVResourceAnchor*>(anchors.find(anchor))) {
    delete anchor;
    anchor = present;
  } else {
    anchors.insert(anchor);
  }
  // One collection id for all: the first is kept and the others merge into it.
  anchor->saveNewSample(summary, 1);
}

ZOVResourceAnchor* ZOVWorkloadDetailSample::getResourceAnchor() {
  constexpr long long toBeDerived = -2;
  const long long told = getNumericData(KeyDelayCategory);
  if (told == NullValue || told == toBeDerived) {
    const long long delay = getNumericData(KeyDelayType);
    long long category = 0;
    if (delay >= 3 && delay <= 6) category = 1;
    if (delay >= 7 && delay <= 10) category = 2;
    if (delay == 11) category = 3;
    saveNumericData(KeyDelayCategory, category);
  }
  return new ZOVWorkloadDetailAnchor(number(*this, KeyProfilerId), number(*this, KeyWorkloadType),
                                     applicationName, requestName, number(*this, KeyDelayType), delayDetail1,
                                     delayDetail2, number(*this, KeyDelayCategory));
}

void ZOVHTTPSample::mergeSampleData(const ZOVSample* other) {
  if (other == nullptr) return;
  if (other->getNumericData(KeySessionTime) < getNumericData(KeySessionTime)) {
    for (int key : {701, 702, 771, 772, 777}) saveStringData(key, other->getStringData(key).view());
  }
  ZOVSample::mergeSampleData(other);
}

void ZOVHTTPSample::mergeNumericData(const ZOVSample* other, int key, _NumericValue* entry) {
  const bool largest = key == 773 || key == 775 || key == 778 || key == 779;
  const bool wanted = largest ? other->getNumericData(key) > getNumericData(key)
                              : other->getNumericData(KeySessionTime) < getNumericData(KeySessionTime);
  if (wanted) ZOVSample::mergeNumericData(other, key, entry);
}

ZOVResourceAnchor* ZOVHTTPSample::getResourceAnchor() {
  return new ZOVHTTPAnchor(applicationName, sessionName);
}

ZOVResourceAnchor* ZOVDataSourceDetSample::getResourceAnchor() {
  return new ZOVDataSourceAnchor(number(*this, KeyProfilerId), dataSourceName);
}

ZOVResourceAnchor* ZOVXQAccessSample::getResourceAnchor() {
  return new ZOVXQAccessAnchor(number(*this, KeyProfilerId), connectionName, queueName);
}

ZOVResourceAnchor* ZOVAppServerOverviewSample::getResourceAnchor() {
  return new ZOVAppSrvOverviewAnchor(number(*this, KeyServerNumber), nodeName, serverName);
}

void ZOVServerRequestSummary::assign(const ZOVWorkloadSumSample& sum) {
  sampleTime = sum.getSampleTime();
  duration = sum.getDuration();
  for (int key : {KeyInterval, KeyRequests, KeyRequestTime}) saveNumericData(key, sum.getTotalCount(key));
}

ZOVResourceAnchor* ZOVServerRequestSummary::getResourceAnchor() {
  return new ZOVServerRequestSummaryAnchor;
}

ZOVResourceAnchor* ZOVTSLJavaPropertySample::getResourceAnchor() {
  return new ZOVTSLJavaPropertyAnchor(number(*this, KeyServerNumber), name);
}

ZOVResourceAnchor* ZOVTSLEnvVarsSample::getResourceAnchor() {
  return new ZOVTSLEnvVarsAnchor(number(*this, KeyServerNumber), name);
}

ZOVResourceAnchor* ZOVMessageSample::getResourceAnchor() {
  return new ZOVMessagesAnchor;
}

ZOVResourceAnchor* AppServerCpuSample::getResourceAnchor() {
  return new ZOVWLMClientAnchor(resourceName);
}
