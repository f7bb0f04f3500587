// The collector monitor of a server: the one thread that in the ordinary course talks to the data collector.
// On an interval it polls for all that is collected; between polls it serves the requests of other threads.

#include <algorithm>
#include <climits>
#include <iterator>
#include <utility>

#include "diag/agent_log.h"
#include "platform/clock.h"
#include "runtime/recovery.h"
#include "runtime/trace_scope.h"
#include "runtime/waits.h"
#include "server/application_server_base.h"
#include "transport/key_value_set.h"
#include "transport/poll_request.h"

static DGT1_Unit traceUnit("ZOVASBGC");

namespace {

constexpr ZOVPollRequest::_PollMask AllTypes = 0x7ffffffffULL;  // what type 999 asks for

ZOVSample::_DataSource dataSourceOf(int type) {
  return ZOVSample::getDataSource(static_cast<ZOVSample::_SampleType>(type));
}

/// What a poll for a wanted type asks for. Not the bits of ZOVPollRequest::getPollType: these are what the
/// agent's own anchors want. The bits of the profiling types 10, 11, 12 and 37 are not here, since no
/// collector is told to collect them.
ZOVPollRequest::_PollMask bitsToPollFor(int type) {
  if (type == ZOVApplicationServerBase::EverythingSampleType) return ZOVPollRequest::Everything;
  if (type == ZOVApplicationServerBase::EverySampleType) return AllTypes;
  if (type == 62) return 0x2000000;
  if (type == 14 || type == 53 || type == 54) return ZOVPollRequest::GCData;
  const bool request =
      (type >= 31 && type <= 36) || (type >= 38 && type <= 47) || type == 55 || type == 66 || type == 76;
  return request ? ZOVPollRequest::RequestData : 0;
}

std::uint32_t later(std::uint32_t now, long seconds) {
  return now + static_cast<std::uint32_t>(seconds);
}

}  // namespace

// --- Requests that other threads wait for.

ZOVReturnCode CollectProfilerSampleRequest::process(ZOVApplicationServerBase* server) {
  return server->takeSampleFromProfiler(*_anchor);
}

ZOVReturnCode TestConnectionRequest::process(ZOVApplicationServerBase* server) {
  return server->testConnectivity();
}

ZOVReturnCode CollectProfilerSampleRequest::wait() {
  _completed.wait();
  return _result;
}

void CollectProfilerSampleRequest::post(const ZOVReturnCode& result) {
  _result = result;
  _completed.post();
}

ZOVReturnCode ZOVApplicationServerBase::submitAsynchronousRequest(
    const std::shared_ptr<CollectProfilerSampleRequest>& request) {
  ZOV_TRACE(Public);
  {
    ZOVLockScope scope(_lock, Exclusive);
    if (_stopProfilerMonitor || !_profilerMonitorRunning) return ZOV_PROFILING_NOT_ACTIVE;
    _asynchronousRequests.push_back(request);
    _profilerMonitorWakeup.post();
  }
  return request->wait();
}

ZOVReturnCode ZOVApplicationServerBase::getOnDemandProfilerSamples(const ZOVResourceAnchor& anchor) {
  return submitAsynchronousRequest(std::make_shared<CollectProfilerSampleRequest>(&anchor));
}

ZOVReturnCode ZOVApplicationServerBase::requestTestConnectivity() {
  return submitAsynchronousRequest(std::make_shared<TestConnectionRequest>());
}

std::shared_ptr<CollectProfilerSampleRequest> ZOVApplicationServerBase::nextRequest() {
  ZOVLockScope scope(_lock, Exclusive);
  if (_asynchronousRequests.empty()) return nullptr;
  std::shared_ptr<CollectProfilerSampleRequest> request = std::move(_asynchronousRequests.front());
  _asynchronousRequests.pop_front();
  return request;
}

// --- The thread.

struct ZOVApplicationServerBase::MonitorTimes {
  std::uint32_t lastActivity;
  std::uint32_t nextSample;
  ZOVReturnCode lastResult;
};

void ZOVApplicationServerBase::startProfilerMonitorThread() {
  ZOV_TRACE(Public);
  startThread(_profilerMonitorThread, _profilerMonitorRunning, _stopProfilerMonitor, _profilerMonitorWakeup,
              _profilerMonitorStopped, launchBackgroundProfilerMonitor);
}

void ZOVApplicationServerBase::stopProfilerMonitorThread(int force) {
  ZOV_TRACE(Public);
  if (!force && (CollectingRequestData() || collectingGCData())) return;
  {
    ZOVLockScope scope(_lock, Exclusive);
    _stopProfilerMonitor = 1;
    _profilerMonitorWakeup.post();
  }
  if (force) interruptSocket();
  waitUntilStopped(_profilerMonitorRunning, _profilerMonitorStopped, LONG_MAX);
}

void ZOVApplicationServerBase::wakeupBackgroundProfilerMonitor() {
  ZOVLockScope scope(_lock, Exclusive);
  if (_profilerMonitorRunning) _profilerMonitorWakeup.post();
}

int ZOVApplicationServerBase::launchBackgroundProfilerMonitor(void* server, ZOVThread*) {
  static_cast<ZOVApplicationServerBase*>(server)->backgroundProfilerMonitor();
  return 0;
}

void ZOVApplicationServerBase::backgroundProfilerMonitor() {
  ZOV_TRACE(Public);
  MonitorTimes times{};
  withCleanup([&] { runProfilerMonitor(times); }, [&] { profilerMonitorEnded(times.lastResult); });
}

void ZOVApplicationServerBase::runProfilerMonitor(MonitorTimes& times) {
  ZOV_FUNCTION;
  _profilerMonitorStopped.reset();
  times.lastActivity = ZOVClock::seconds();
  times.nextSample =
      later(times.lastActivity, _pollInterval ? _pollInterval : zovWaits().quietCollectorSeconds);
  guarded(ZOV_PLACE, [&] { ZOV_LOG_MESSAGE(ZOVA0010I, getName()); });
  while (!_stopProfilerMonitor) {
    const auto failure = guarded(ZOV_PLACE, [&] { profilerMonitorTurn(times); });
    if (!failure) continue;
    releaseLocksOfTurn();
    times.lastResult = failure->getReturnCode();
    if (const auto request = std::exchange(_requestInHand, nullptr)) {
      request->post(times.lastResult ? times.lastResult : ZOVReturnCode(ZOV_EXCEPTION_CAUGHT));
    } else {
      _profilerMonitorWakeup.waitWithTimeout(1);  // a turn that fails again and again must not spin
    }
    _profilerMonitorWakeup.post();  // the requests behind the one that failed
  }
}

void ZOVApplicationServerBase::profilerMonitorTurn(MonitorTimes& times) {
  const std::uint32_t started = ZOVClock::seconds();
  const long period = _pollInterval ? _pollInterval : zovWaits().quietCollectorSeconds;
  // A clock that is set back makes no wait longer than the interval.
  const long wait = std::min<long>(static_cast<std::int32_t>(times.nextSample - started), period);
  DGT1_Printf(traceUnit, DGT1_DETAIL, "TimeToWait = %i  CurrentTime = %i  TimeToWaitForNextSample = %i", wait,
              started, times.nextSample);
  DGT1_Printf(traceUnit, DGT1_FLOW, "mCollectingRequestData is %i, CollectingGCData is %i",
              CollectingRequestData(), collectingGCData());
  if (wait > 0) _profilerMonitorWakeup.waitWithTimeout(wait);
  _profilerMonitorWakeup.reset();
  if (_stopProfilerMonitor) return;

  serveRequests(times);
  const std::uint32_t now = ZOVClock::seconds();
  if (_pollInterval == 0) {
    if (static_cast<std::int32_t>(now - times.lastActivity) > zovWaits().quietCollectorSeconds) {
      times.lastActivity = now;
      if (isConnectedWithProfiler()) times.lastResult = testConnectivity();
    }
    times.nextSample = later(now, zovWaits().quietCollectorSeconds);
    return;
  }
  if (static_cast<std::int32_t>(now - times.nextSample) < 0) return;
  // From now, not from the last target: a slow poll pushes the later ones back.
  times.nextSample = later(now, _pollInterval);
  if ((CollectingRequestData() || collectingGCData()) && isConnectedWithProfiler()) {
    times.lastResult =
        takeSampleFromProfiler(ZOVResourceAnchor(static_cast<ZOVSample::_SampleType>(EverythingSampleType)));
  }
}

void ZOVApplicationServerBase::serveRequests(MonitorTimes& times) {
  while ((_requestInHand = nextRequest())) {
    times.lastResult =
        isConnectedWithProfiler() ? _requestInHand->process(this) : ZOVReturnCode(ZOV_PROFILING_NOT_ACTIVE);
    times.lastActivity = ZOVClock::seconds();
    std::exchange(_requestInHand, nullptr)->post(times.lastResult);
  }
}

void ZOVApplicationServerBase::profilerMonitorEnded(const ZOVReturnCode& lastResult) {
  ZOV_FUNCTION;
  std::deque<std::shared_ptr<CollectProfilerSampleRequest>> left;
  guarded(ZOV_PLACE, [&] {
    DGT1_Printf(traceUnit, DGT1_DETAIL, "MSG_APP_SERVER_BACKGROUND_PROFILER_STOPPED error %i",
                static_cast<unsigned int>(lastResult));
    ZOV_LOG_MESSAGE(ZOVA0011I, getName());
  });
  if (_requestInHand) left.push_back(std::exchange(_requestInHand, nullptr));
  guarded(ZOV_PLACE, [&] {
    ZOVLockScope scope(_lock, Exclusive);
    std::move(_asynchronousRequests.begin(), _asynchronousRequests.end(), std::back_inserter(left));
    _asynchronousRequests.clear();
    _profilerMonitorRunning = 0;  // under the lock, so that no request is queued behind the last look
  });
  _profilerMonitorRunning = 0;
  for (const auto& request : left) request->post(ZOV_PROFILING_NOT_ACTIVE);
  _profilerMonitorStopped.post();
}

// --- What is taken when.

bool ZOVApplicationServerBase::isObtainedFromProfiler(int type) {
  const ZOVSample::_DataSource source = dataSourceOf(type);
  return source == ZOVSample::DataSourceProfiler || source == ZOVSample::DataSourceWorkload ||
         source == ZOVSample::DataSourceVerboseGC;
}

bool ZOVApplicationServerBase::collectOnDemandOnly(int type) {
  return ZOVPollRequest::collectOnDemandOnly(type);
}

bool ZOVApplicationServerBase::runningBackgroundCollection(int type) const {
  if (collectOnDemandOnly(type)) return false;
  return isObtainedFromProfiler(type) ? runningBackgroundProfilerCollection()
                                      : runningBackgroundRPXCollection();
}

ZOVReturnCode ZOVApplicationServerBase::takeSample(const ZOVResourceAnchor& anchor) {
  ZOV_TRACE(Public);
  if (_excludedFromMonitoring) return ZOV_SERVER_EXCLUDED;
  if (_status != ServerConnected) return 0;
  const int type = anchor.getSampleType();
  const bool cached = getMinSamplingInterval(type) != 0;
  if (cached && findCachedSampleRequest(anchor)) return 0;
  const ZOVReturnCode rc =
      isObtainedFromProfiler(type) ? getOnDemandProfilerSamples(anchor) : takeSampleFromRPX(anchor);
  if (rc == 0 && cached) defineCachedSampleRequest(anchor);
  return rc;
}

ZOVReturnCode ZOVApplicationServerBase::takeSampleFromProfiler(const ZOVResourceAnchor& anchor) {
  ZOV_TRACE(Restricted);
  ZOVPollRequest::_PollMask collected = 0;
  if (CollectingRequestData()) collected |= ZOVPollRequest::RequestData;
  if (collectingGCData()) collected |= ZOVPollRequest::GCData;
  const ZOVPollRequest::_PollMask wanted = bitsToPollFor(anchor.getSampleType()) & collected;
  if (wanted == 0) return ZOV_PROFILING_NOT_ACTIVE;
  ZOVPollRequest poll(static_cast<long long>(wanted | ZOVPollRequest::AlwaysPolled), "", "", "", "", "", "",
                      0);
  if (const ZOVKeyValueSet* const more = anchor.getAdditionalPollParameters()) poll.save(*more);
  return obtainSamplesFromProfiler(poll, anchor);
}
