#include "server/server_statistics.h"

#include <algorithm>

#include "diag/agent_log.h"
#include "runtime/environment.h"
#include "runtime/recovery.h"
#include "runtime/trace_scope.h"
#include "runtime/waits.h"
#include "samples/sample_classes.h"
#include "server/application_server_base.h"
#include "server/resource_manager_proxy.h"
#include "server/server_services.h"
#include "transport/poll_request.h"

static DGT1_Unit traceUnit("ZOVASRPX");

namespace zov {

namespace {

constexpr long SecondsBetweenLooks = 60;  // whether the server is still connected
constexpr ZOVPollRequest::_PollMask AllStatistics = 0x7ffffffffULL;

/// 61 means that some of it failed; what arrived counts.
bool isGood(const ZOVReturnCode& rc) {
  return rc == ZOV_OK || rc == ZOV_RECOVERABLE_JAVA_EXCEPTION;
}

/// Also when no statistics are connected yet: those that come find the server's switch as it was left.
ZOVReturnCode switched(const ZOVReturnCode& rc) {
  return rc == ZOV_NO_RESOURCE_MANAGER ? ZOVReturnCode(ZOV_OK) : rc;
}

bool isWanted(ZOVSample& sample, const ZOVResourceAnchor* wanted) {
  if (!wanted) return true;
  const std::unique_ptr<ZOVResourceAnchor> anchor(sample.getResourceAnchor());
  return !anchor || anchor->doesItMatch(wanted);
}

}  // namespace

// --- The thread.

bool ServerStatistics::mayStartThreads() {
  constexpr int Threads = 3;
  ZOVAgentEnvironment* const environment = ZOVAgentEnvironment::pEnvironment;
  return !environment || environment->threadTable().room() >= ZOVThreadTable::KeptForSessions + Threads;
}

void ServerStatistics::start() {
  if (_settings.resourcePollFrequency != 0 && mayStartThreads()) _thread.start();
}

void ServerStatistics::stop() {
  ZOV_TRACE(Public);
  _thread.requestStop();
  _thread.waitUntilStopped();
}

void ServerStatistics::interrupt() {
  if (const auto manager = ZOVServerServices::current().resourceManager()) manager->serverIsEnding(&_server);
}

void ServerStatistics::threadBegins() {
  ZOV_FUNCTION;
  _nextCollection = _lastConnected = ZOVClock::steady();
  ZOV_LOG_MESSAGE(ZOVA0008I, _server.getName());
}

long ServerStatistics::secondsToNextTurn() {
  return std::min<long>(-ZOVClock::secondsSince(_nextCollection), SecondsBetweenLooks);
}

void ServerStatistics::turn() {
  if (_server.getStatus() == ServerConnected) _lastConnected = ZOVClock::steady();
  const int frequency = _settings.resourcePollFrequency;
  if (frequency == 0 || ZOVClock::secondsSince(_lastConnected) >= zovWaits().disconnectedSeconds) {
    return _thread.stopUnlessWoken();
  }
  const auto next = ZOVClock::steady() + std::chrono::seconds(frequency);
  _nextCollection = std::min(_nextCollection, next);        // the interval may have become shorter
  if (ZOVClock::secondsSince(_nextCollection) < 0) return;  // woken ahead of time
  _nextCollection = next;
  if (_server.getStatus() == ServerConnected && isCollected()) collectAll();
}

void ServerStatistics::threadEnds() {
  ZOV_FUNCTION;
  guarded(ZOV_PLACE, [this] { ZOV_LOG_MESSAGE(ZOVA0009I, _server.getName()); });
}

void ServerStatistics::startFailed() {
  ZOV_FUNCTION;
  guarded(ZOV_PLACE, [this] { ZOV_LOG_ERROR(ZOVA0174E, "statistics", _server.getName()); });
}

// --- One collection.

void ServerStatistics::collectAll() {
  ZOV_TRACE(Restricted);
  // On the heap: a raise leaves it to the manager's thread, which may still be at it.
  const auto request = std::make_unique<RPXCollectionRequest>(AllStatistics, &_server, nullptr);
  collect(*request, nullptr);
}

/// Runs one request and saves what it brings. With `wanted`, a sample of another resource is destroyed, and
/// what `wanted` selects and the collection has not brought is marked; without it, all of the statistics are.
/// A collection that failed, be it in part, marks nothing: who can tell what it would have brought?
ZOVReturnCode ServerStatistics::collect(RPXCollectionRequest& request, const ZOVResourceAnchor* wanted) {
  ZOV_TRACE(Restricted);
  const std::shared_ptr<ZOVResourceManagerProxy> manager = ZOVServerServices::current().resourceManager();
  if (!manager) return ZOV_PSI_NOT_ACTIVE;
  return holding(_rpxLock, Exclusive, [&]() ZOV_REQUIRES(_rpxLock) -> ZOVReturnCode {
    if (++_collectionId == 0) _collectionId = 1;
    if (const ZOVReturnCode rc = manager->startProcessing(request); !isGood(rc)) return rc;
    std::unique_ptr<ZOVSample> serverSample;
    while (std::unique_ptr<ZOVSample> sample{static_cast<ZOVSample*>(request.get())}) {
      if (sample->getSampleType() == ZOVSample::SampleTypeApplicationServer) {
        serverSample = std::move(sample);
      } else if (isWanted(*sample, wanted)) {
        _anchors.saveSample(sample.release(), SaveSampleInterval, _collectionId);
      }
    }
    const ZOVReturnCode result = request.getResult();
    if (wanted && result == ZOV_OK) {
      _anchors.markObsolete(*wanted, _collectionId);
    } else if (result == ZOV_OK) {
      _anchors.markObsolete(ZOVSample::DataSourceResource, _collectionId);
    }
    // Last, since it sums up the others.
    if (serverSample) {
      complete(static_cast<ZOVAppServerSample&>(*serverSample));
      _anchors.saveSample(serverSample.release(), SaveSampleInterval, _collectionId);
    }
    return result;
  });
}

void ServerStatistics::complete(ZOVAppServerSample& serverSample) {
  _anchors.rollUpTo(serverSample);
  if (_server.getProcessId() == 0 || _server.getStatus() != ServerConnected) return;
  const long long used = ZOVAppServerSample::getProcessCPUUsage(_server.getProcessId());
  if (used != ZOVSample::NullValue) serverSample.saveNumericData(key::cpu_time, used);
}

// --- On demand.

ZOVReturnCode ServerStatistics::take(const ZOVResourceAnchor& wanted) {
  ZOV_TRACE(Public);
  if (wanted.getSampleType() != ZOVSample::SampleTypeApplicationServer) {
    const ZOVReturnCode rc = query(wanted);
    return rc == ZOV_STATISTICS_TIMED_OUT ? ZOVReturnCode(ZOV_OK) : rc;
  }
  ZOVReturnCode rc = takeRollUpSamples();
  if (rc == ZOV_OK) rc = query(wanted);
  // The server's row stays, whatever became of its statistics.
  if (!isGood(rc)) _anchors.saveServerStandIn();
  return ZOV_OK;
}

ZOVReturnCode ServerStatistics::takeUnlessRecent(const ZOVResourceAnchor& wanted) {
  ZOV_TRACE(Restricted);
  // Under the lock that orders the collections: of those who come at once, the first one collects.
  return holding(_rpxLock, Exclusive, [&]() -> ZOVReturnCode {
    if (_anchors.findCachedRequest(wanted)) return ZOV_OK;
    const ZOVReturnCode rc = take(wanted);
    if (rc == ZOV_OK) _anchors.defineCachedRequest(wanted);
    return rc;
  });
}

ZOVReturnCode ServerStatistics::query(const ZOVResourceAnchor& wanted) {
  const std::unique_ptr<RPXCollectionRequest> request = makeRequest(wanted);
  if (!request) return ZOV_OK;
  request->setTimeout(zovWaits().statisticsQuerySeconds);
  return collect(*request, &wanted);
}

/// The samples that the server's own is summed up from.
ZOVReturnCode ServerStatistics::takeRollUpSamples() {
  const ZOVContainerAnchor containers;
  const ZOVContainerTransactionAnchor transactions;
  const ZOVDBConnectionAnchor connections;
  const ZOVApplicationAnchor applications;
  for (const ZOVResourceAnchor* wanted : std::initializer_list<const ZOVResourceAnchor*>{
           &containers, &transactions, &connections, &applications}) {
    if (const ZOVReturnCode rc = query(*wanted); !isGood(rc)) return rc;
  }
  return ZOV_OK;
}

/// Null for a type that no statistics deliver.
std::unique_ptr<RPXCollectionRequest> ServerStatistics::makeRequest(const ZOVResourceAnchor& wanted) {
  const ZOVSample::_SampleType type = wanted.getSampleType();
  const ZOVPollRequest::_PollMask mask = ZOVPollRequest::getPollType(type);
  if (mask == 0) return nullptr;
  const char* const name = wanted.getResourceName().data();
  const auto* const ejb = dynamic_cast<const ZOVEJBAnchor*>(&wanted);
  if (ejb && type == ZOVSample::SampleTypeEJB) {
    return std::make_unique<RPXEJBCollectionRequest>(&_server, ejb->containerName.data(), name);
  }
  if (const auto* const servlet = dynamic_cast<const ZOVServletAnchor*>(&wanted)) {
    return std::make_unique<RPXServletCollectionRequest>(&_server, name, servlet->servletName.data());
  }
  if (dynamic_cast<const ZOVApplicationAnchor*>(&wanted)) {
    return std::make_unique<RPXApplicationCollectionRequest>(&_server, name);
  }
  return std::make_unique<RPXCollectionRequest>(mask, &_server, name);
}

// --- The switch.

void ServerStatistics::sessionBegan() {
  start();  // in case that it could not be before
  if (_settings.resourceCollectAction != CollectOnDemand &&
      _settings.resourceCollectAction != CollectByInterval) {
    return;
  }
  if (const auto manager = ZOVServerServices::current().resourceManager()) manager->createPSIClient(&_server);
}

ZOVReturnCode ServerStatistics::suspend() {
  ZOV_TRACE(Public);
  if (isCollected()) {
    ZOV_LOG_MESSAGE(ZOVA0068I, _server.getName());
  }
  _suspended = true;
  ZOVReturnCode rc;
  if (const auto manager = ZOVServerServices::current().resourceManager()) {
    rc = manager->suspendCollectingResourceData(&_server);
  }
  _anchors.markLogicallyDeleted(ZOVSample::DataSourceResource);
  return switched(rc);
}

ZOVReturnCode ServerStatistics::resume() {
  ZOV_TRACE(Public);
  _suspended = false;
  const auto manager = ZOVServerServices::current().resourceManager();
  if (_connected) {
    ZOV_LOG_MESSAGE(ZOVA0067I, _server.getName());
  } else if (manager) {
    manager->createPSIClient(&_server);
  }
  return switched(manager ? manager->resumeCollectingResourceData(&_server) : ZOVReturnCode(ZOV_OK));
}

void ServerStatistics::connected() {
  ZOV_TRACE(Public);
  _connected = true;
  if (_suspended) return;
  ZOV_LOG_MESSAGE(ZOVA0067I, _server.getName());
}

void ServerStatistics::disconnected() {
  ZOV_TRACE(Public);
  if (isCollected()) {
    ZOV_LOG_MESSAGE(ZOVA0068I, _server.getName());
  }
  _connected = false;
}

}  // namespace zov
