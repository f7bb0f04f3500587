// A server's own statistics, from the resource manager: on an interval by the statistics thread, and on
// demand. _rpxLock is held through one collection, while the manager's thread works on it; so the anchors of
// the statistics are filled by one thread at a time.

#include <algorithm>
#include <climits>

#include "diag/agent_log.h"
#include "platform/clock.h"
#include "runtime/recovery.h"
#include "runtime/trace_scope.h"
#include "samples/sample_classes.h"
#include "server/application_server_base.h"
#include "server/resource_manager_proxy.h"
#include "server/server_services.h"
#include "transport/poll_request.h"

static DGT1_Unit traceUnit("ZOVASRPX");

namespace {

constexpr ZOVPollRequest::_PollMask AllStatistics = 0x7ffffffffULL;
enum : int { KeyServerName = 5, KeyProcessCPU = 316 };

/// 61 means that some of it failed; what arrived counts.
bool isGood(const ZOVReturnCode& rc) {
  return rc == ZOV_OK || rc == ZOV_RECOVERABLE_JAVA_EXCEPTION;
}

}  // namespace

void ZOVApplicationServerBase::startRPXMonitorThread() {
  ZOV_TRACE(Restricted);
  startThread(_rpxMonitorThread, _rpxMonitorRunning, _stopRPXMonitor, _rpxMonitorWakeup, _rpxMonitorStopped,
              launchBackgroundRPXMonitor);
}

void ZOVApplicationServerBase::stopRPXMonitorThread() {
  ZOV_TRACE(Public);
  {
    ZOVLockScope scope(_lock, Exclusive);
    _stopRPXMonitor = 1;
    _rpxMonitorWakeup.post();
  }
  waitUntilStopped(_rpxMonitorRunning, _rpxMonitorStopped, LONG_MAX);
}

int ZOVApplicationServerBase::launchBackgroundRPXMonitor(void* server, ZOVThread*) {
  static_cast<ZOVApplicationServerBase*>(server)->backgroundRPXMonitor();
  return 0;
}

void ZOVApplicationServerBase::backgroundRPXMonitor() {
  ZOV_TRACE(Public);
  withCleanup(
      [this] {
        _rpxMonitorStopped.reset();
        std::uint32_t next = ZOVClock::seconds();
        guarded(ZOV_PLACE, [this] { ZOV_LOG_MESSAGE(ZOVA0008I, getName()); });
        while (!_stopRPXMonitor) {
          const auto failure = guarded(ZOV_PLACE, [&] { rpxMonitorTurn(next); });
          if (!failure) continue;
          releaseLocksOfTurn();
          _rpxMonitorWakeup.waitWithTimeout(1);  // a turn that fails again and again must not spin
        }
      },
      [this] { rpxMonitorEnded(); });
}

void ZOVApplicationServerBase::rpxMonitorTurn(std::uint32_t& next) {
  const long wait =
      std::min<long>(static_cast<std::int32_t>(next - ZOVClock::seconds()), _resourcePollFrequency);
  if (wait > 0) _rpxMonitorWakeup.waitWithTimeout(wait);
  _rpxMonitorWakeup.reset();
  if (_stopRPXMonitor) return;
  const std::uint32_t now = ZOVClock::seconds();
  if (static_cast<std::int32_t>(now - next) < 0) return;  // woken ahead of time
  next = now + static_cast<std::uint32_t>(_resourcePollFrequency);
  if (_status == ServerConnected && isResourceDataCollected()) collectStatistics();
}

void ZOVApplicationServerBase::rpxMonitorEnded() {
  ZOV_FUNCTION;
  guarded(ZOV_PLACE, [&] { ZOV_LOG_MESSAGE(ZOVA0009I, getName()); });
  _rpxMonitorRunning = 0;
  _rpxMonitorStopped.post();
}

void ZOVApplicationServerBase::collectStatistics() {
  ZOV_TRACE(Restricted);
  // On the heap: a raise leaves it to the manager's thread, which may still be at it.
  const auto request = std::make_unique<RPXCollectionRequest>(AllStatistics, this, nullptr);
  collectFromRPX(*request, nullptr);
}

/// Runs one request and saves what it brings. With `wanted`, a sample of another resource is destroyed, and
/// what `wanted` selects and the collection has not brought is marked; without it, all of the statistics are.
ZOVReturnCode ZOVApplicationServerBase::collectFromRPX(RPXCollectionRequest& request,
                                                       const ZOVResourceAnchor* wanted) {
  ZOV_TRACE(Restricted);
  const std::shared_ptr<ZOVResourceManagerProxy> manager = ZOVServerServices::current().resourceManager();
  if (!manager) return ZOV_PSI_NOT_ACTIVE;
  return holding(_rpxLock, Exclusive, [&]() -> ZOVReturnCode {
    if (++_rpxCollectionId == 0) _rpxCollectionId = 1;
    if (const ZOVReturnCode rc = manager->startProcessing(request); !isGood(rc)) return rc;
    std::unique_ptr<ZOVSample> serverSample;
    while (std::unique_ptr<ZOVSample> sample{static_cast<ZOVSample*>(request.get())}) {
      if (sample->getSampleType() == ZOVSample::SampleTypeApplicationServer) {
        serverSample = std::move(sample);
      } else if (isWanted(*sample, wanted)) {
        saveSample(sample.release(), SaveSampleInterval, _rpxCollectionId);
      }
    }
    if (wanted) {
      removeObsoleteResourceAnchors(wanted, _rpxCollectionId);
    } else {
      removeObsoleteResourceAnchors(ZOVSample::DataSourceResource, _rpxCollectionId);
    }
    // Last, since it sums up the others.
    if (serverSample) {
      completeServerSample(static_cast<ZOVAppServerSample&>(*serverSample));
      saveSample(serverSample.release(), SaveSampleInterval, _rpxCollectionId);
    }
    return request.getResult();
  });
}

bool ZOVApplicationServerBase::isWanted(ZOVSample& sample, const ZOVResourceAnchor* wanted) {
  if (!wanted) return true;
  const std::unique_ptr<ZOVResourceAnchor> anchor(sample.getResourceAnchor());
  return !anchor || anchor->doesItMatch(wanted);
}

void ZOVApplicationServerBase::completeServerSample(ZOVAppServerSample& serverSample) {
  rollupTo(serverSample);
  if (getProcessId() == 0 || _status != ServerConnected) return;
  const long long used = ZOVAppServerSample::getProcessCPUUsage(getProcessId());
  if (used != ZOVSample::NullValue) serverSample.saveNumericData(KeyProcessCPU, used);
}

// --- On demand.

ZOVReturnCode ZOVApplicationServerBase::takeSampleFromRPX(const ZOVResourceAnchor& anchor) {
  ZOV_TRACE(Public);
  if (_excludedFromMonitoring) return ZOV_SERVER_EXCLUDED;
  const std::unique_ptr<RPXCollectionRequest> request = makeRPXRequest(anchor);
  if (!request) return 0;
  if (anchor.getSampleType() != ZOVSample::SampleTypeApplicationServer) {
    return collectFromRPX(*request, &anchor);
  }
  ZOVReturnCode rc = takeRollUpSamples();
  if (rc == 0) rc = collectFromRPX(*request, &anchor);
  // The server's row stays, whatever became of its statistics.
  if (!isGood(rc)) saveStandInSample();
  return 0;
}

/// The samples that the server's own is summed up from.
ZOVReturnCode ZOVApplicationServerBase::takeRollUpSamples() {
  const ZOVContainerAnchor containers;
  const ZOVContainerTransactionAnchor transactions;
  const ZOVDBConnectionAnchor connections;
  const ZOVApplicationAnchor applications;
  for (const ZOVResourceAnchor* anchor : std::initializer_list<const ZOVResourceAnchor*>{
           &containers, &transactions, &connections, &applications}) {
    if (const ZOVReturnCode rc = takeSampleFromRPX(*anchor); !isGood(rc)) return rc;
  }
  return 0;
}

/// Null for a type that no statistics deliver.
std::unique_ptr<RPXCollectionRequest> ZOVApplicationServerBase::makeRPXRequest(
    const ZOVResourceAnchor& anchor) {
  const int type = anchor.getSampleType();
  const ZOVPollRequest::_PollMask mask = ZOVPollRequest::getPollType(type);
  if (type >= ZOVResourceAnchorTable::Types || mask == 0) return nullptr;
  const char* const name = anchor.getResourceName().data();
  const auto* const ejb = dynamic_cast<const ZOVEJBAnchor*>(&anchor);
  if (ejb && type == ZOVSample::SampleTypeEJB) {
    return std::make_unique<RPXEJBCollectionRequest>(this, ejb->containerName.data(), name);
  }
  if (const auto* const servlet = dynamic_cast<const ZOVServletAnchor*>(&anchor)) {
    return std::make_unique<RPXServletCollectionRequest>(this, name, servlet->servletName.data());
  }
  if (dynamic_cast<const ZOVApplicationAnchor*>(&anchor)) {
    return std::make_unique<RPXApplicationCollectionRequest>(this, name);
  }
  return std::make_unique<RPXCollectionRequest>(mask, this, name);
}

void ZOVApplicationServerBase::saveStandInSample() {
  auto standIn = std::make_unique<ZOVAppServerSample>();
  standIn->saveStringData(KeyServerName, getName().view());
  saveSample(standIn.release(), SaveSampleInterval, 0);
}
