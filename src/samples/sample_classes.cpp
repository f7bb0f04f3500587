// Where the sample classes differ from the core: their anchors, and the values that they fold.

#include "samples/sample_classes.h"

#include <span>

#include "runtime/process_cpu.h"
#include "runtime/trace_scope.h"
#include "samples/anchors.h"
#include "samples/arithmetic.h"

static DGT1_Unit traceUnit("ZOVCSCLS");

namespace {

namespace key = zov::key;

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
constexpr KeyPair SumNumericKeys[] = {{key::entity_creates, key::container_creates},
                                      {key::entity_removes, key::container_removes},
                                      {key::entity_activations, key::container_activations},
                                      {key::entity_passivations, key::container_passivations},
                                      {key::entity_instantiates, key::container_instantiates},
                                      {key::entity_destroys, key::container_destroys},
                                      {key::stateful_creates, key::container_creates},
                                      {key::stateful_removes, key::container_removes},
                                      {key::stateful_activations, key::container_activations},
                                      {key::stateful_passivations, key::container_passivations},
                                      {key::stateful_instantiates, key::container_instantiates},
                                      {key::stateful_destroys, key::container_destroys},
                                      {key::stateless_instantiates, key::container_instantiates},
                                      {key::stateless_destroys, key::container_destroys}};
constexpr KeyPair SumPerfLoadKeys[] = {{key::entity_beans_live, key::container_beans_live},
                                       {key::entity_beans_active, key::container_beans_active},
                                       {key::entity_method_load, key::container_method_load},
                                       {key::stateful_beans_live, key::container_beans_live},
                                       {key::stateful_beans_active, key::container_beans_active},
                                       {key::stateful_method_load, key::container_method_load},
                                       {key::stateless_beans_live, key::container_beans_live},
                                       {key::stateless_method_load, key::container_method_load}};
// The three kinds of bean.
constexpr KeyPair EJBLoadKeys[] = {{key::stateless_beans_live, key::beans_live},
                                   {key::entity_beans_live, key::beans_live},
                                   {key::stateful_beans_live, key::beans_live},
                                   {key::entity_beans_active, key::beans_active},
                                   {key::stateful_beans_active, key::beans_active}};

/// Of a session's parts, whichever is the later.
bool isGreatestOfParts(int key) {
  return key == key::session_counter_1 || key == key::session_figure || key == key::session_maximum ||
         key == key::session_counter_2 || key == key::session_counter_3;
}

/// Identities take the low 32 bits of a key.
int number(const ZOVSample& sample, int key) {
  return static_cast<int>(sample.getNumericData(key));
}

}  // namespace

ZOVResourceAnchor* ZOVAppServerSample::getResourceAnchor() {
  return new ZOVAppServerAnchor(serverName);
}

void ZOVAppServerSample::saveRollUpValues(const RollUpTotals& totals) {
  for (std::size_t i = 0; i < totals.size(); ++i) saveNumericData(RollUpKeys[i], totals[i]);
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
  return new ZOVContainerAnchor(containerName, number(*this, key::summary));
}

ZOVResourceAnchor* ZOVTransactionSample::getResourceAnchor() {
  return new ZOVContainerTransactionAnchor(containerName, number(*this, key::summary));
}

ZOVResourceAnchor* ZOVObjectPoolSample::getResourceAnchor() {
  return new ZOVObjectPoolAnchor(containerName, number(*this, key::summary));
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
  _NumericValue& waitTime = *getNumericValueEntry(key::db_wait_time);
  if (waitTime.rateValid || !getNumericValueEntry(key::db_hold_time)->rateValid) return;
  waitTime.rateValid = 1;
  waitTime.average = 0;
}

ZOVResourceAnchor* ZOVDBConnectPoolSample::getResourceAnchor() {
  return new ZOVDBConnectionAnchor(dataSourceName, number(*this, key::summary));
}

ZOVResourceAnchor* ZOVApplicationSample::getResourceAnchor() {
  return new ZOVApplicationAnchor(applicationName, virtualHostName, number(*this, key::summary));
}

ZOVResourceAnchor* ZOVServletSample::getResourceAnchor() {
  return new ZOVServletAnchor(applicationName, virtualHostName, servletName, jspPath,
                              number(*this, key::servlet_type));
}

ZOVResourceAnchor* ZOVCacheSample::getResourceAnchor() {
  return new ZOVCacheAnchor(cacheName);
}

ZOVResourceAnchor* ZOVCacheTemplateSample::getResourceAnchor() {
  return new ZOVCacheTemplateAnchor(templateName, number(*this, key::summary));
}

ZOVResourceAnchor* ZOVJ2CPoolSample::getResourceAnchor() {
  return new ZOVJ2CPoolAnchor(connectionFactoryName, number(*this, key::summary));
}

ZOVResourceAnchor* ZOVServletSessionsSample::getResourceAnchor() {
  return new ZOVServletSessionsAnchor(applicationName, number(*this, key::summary));
}

ZOVResourceAnchor* ZOVThreadPoolSample::getResourceAnchor() {
  return new ZOVThreadPoolAnchor(threadPoolName, number(*this, key::summary));
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
  const bool figure = key == key::gc_in_use || key == key::gc_free;
  if (figure && other->getTotalCount(key::gc_runs) == 0) return;
  ZOVSample::mergeNumericData(other, key, entry);
}

ZOVResourceAnchor* ZOVGarbageCollectionSample::getResourceAnchor() {
  return new ZOVGCAnchor(number(*this, key::process_id));
}

ZOVResourceAnchor* ZOVAFDetailSample::getResourceAnchor() {
  return new ZOVAFDetailAnchor(number(*this, key::process_id), number(*this, key::allocation_failure_number));
}

ZOVResourceAnchor* ZOVGCDetailSample::getResourceAnchor() {
  return new ZOVGCDetailAnchor(number(*this, key::process_id), number(*this, key::allocation_failure_number),
                               number(*this, key::cycle_number));
}

ZOVResourceAnchor* ZOVWorkloadSumSample::getResourceAnchor() {
  return new ZOVWorkloadSumAnchor(number(*this, key::process_id), number(*this, key::request_type),
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
  const long long told = getNumericData(key::delay_category);
  if (told == NullValue || told == toBeDerived) {
    const long long delay = getNumericData(key::delay_type);
    long long category = 0;
    if (delay >= 3 && delay <= 6) category = 1;
    if (delay >= 7 && delay <= 10) category = 2;
    if (delay == 11) category = 3;
    saveNumericData(key::delay_category, category);
  }
  return new ZOVWorkloadDetailAnchor(number(*this, key::process_id), number(*this, key::request_type),
                                     applicationName, requestName, number(*this, key::delay_type),
                                     delayDetail1, delayDetail2, number(*this, key::delay_category));
}

/// The same whichever part comes first: by what each has told, and not by what was rated since.
void ZOVHTTPSample::mergeSampleData(const ZOVSample* other) {
  ZOV_TRACE(Restricted);
  if (other == nullptr) return;
  const long long mine = getTotalCount(key::session_part_order);
  const long long theirs = other->getTotalCount(key::session_part_order);
  const bool later = theirs != NullValue && (mine == NullValue || theirs < mine);
  for (const int key : sampleClass().numericKeys) {
    const long long told = other->getTotalCount(key);
    if (isGreatestOfParts(key) ? told > getTotalCount(key) : later) saveNumericData(key, told);
  }
  if (!later) return;
  for (const int key : {key::application_name, key::request_name, key::session_text_1, key::session_text_2,
                        key::session_text_3}) {
    saveStringData(key, other->getStringData(key).view());
  }
}

ZOVResourceAnchor* ZOVHTTPSample::getResourceAnchor() {
  return new ZOVHTTPAnchor(applicationName, sessionName);
}

ZOVResourceAnchor* ZOVDataSourceDetSample::getResourceAnchor() {
  return new ZOVDataSourceAnchor(number(*this, key::process_id), dataSourceName);
}

ZOVResourceAnchor* ZOVXQAccessSample::getResourceAnchor() {
  return new ZOVXQAccessAnchor(number(*this, key::process_id), connectionName, queueName);
}

ZOVResourceAnchor* ZOVAppServerOverviewSample::getResourceAnchor() {
  return new ZOVAppSrvOverviewAnchor(number(*this, key::server_number), nodeName, serverName);
}

void ZOVServerRequestSummary::assign(const ZOVWorkloadSumSample& sum) {
  sampleTime = sum.getSampleTime();
  duration = sum.getDuration();
  for (int key : {key::interval_milliseconds, key::request_count, key::request_time})
    saveNumericData(key, sum.getTotalCount(key));
}

ZOVResourceAnchor* ZOVServerRequestSummary::getResourceAnchor() {
  return new ZOVServerRequestSummaryAnchor;
}

ZOVResourceAnchor* ZOVTSLJavaPropertySample::getResourceAnchor() {
  return new ZOVTSLJavaPropertyAnchor(number(*this, key::server_number), name);
}

ZOVResourceAnchor* ZOVTSLEnvVarsSample::getResourceAnchor() {
  return new ZOVTSLEnvVarsAnchor(number(*this, key::server_number), name);
}

ZOVResourceAnchor* ZOVMessageSample::getResourceAnchor() {
  return new ZOVMessagesAnchor;
}

ZOVResourceAnchor* AppServerCpuSample::getResourceAnchor() {
  return new ZOVWLMClientAnchor(resourceName);
}
