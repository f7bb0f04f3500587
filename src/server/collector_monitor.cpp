#include "server/collector_monitor.h"

#include <algorithm>
#include <utility>

#include "diag/agent_log.h"
#include "platform/message_rate.h"
#include "runtime/recovery.h"
#include "runtime/trace_scope.h"
#include "runtime/waits.h"
#include "server/application_server_base.h"
#include "server/collector_session.h"

static DGT1_Unit traceUnit("ZOVASBGC");

// --- Requests that other threads wait for.

ZOVReturnCode CollectProfilerSampleRequest::process(ZOVApplicationServerBase* server) {
  return server->takeSampleFromProfiler(*_anchor);
}

ZOVReturnCode CollectUnlessRecentRequest::process(ZOVApplicationServerBase* server) {
  if (server->findCachedSampleRequest(anchor())) return ZOV_OK;
  const ZOVReturnCode rc = CollectProfilerSampleRequest::process(server);
  if (rc == ZOV_OK) server->defineCachedSampleRequest(anchor());
  return rc;
}

ZOVReturnCode TestConnectionRequest::process(ZOVApplicationServerBase* server) {
  return server->testConnectivity();
}

ZOVReturnCode CollectProfilerSampleRequest::wait(const ZOVGivenUp& givenUp) {
  constexpr long millisecondsBetweenLooks = 250;
  if (!givenUp) {
    _completed.wait();
    return _result;
  }
  while (_completed.waitWithMillisecondTimeout(millisecondsBetweenLooks) == 0) {
    if (!givenUp()) continue;
    _abandoned = true;
    return ZOV_SOCKET_TIMED_OUT;
  }
  return _result;
}

void CollectProfilerSampleRequest::post(const ZOVReturnCode& result) {
  _result = result;
  _completed.post();
}

namespace zov {

bool CollectorMonitor::offer(const Request& request) {
  return _thread.offer([&] {
    const MutexLock lock(_mutex);
    _requests.push_back(request);
  });
}

ZOVReturnCode CollectorMonitor::submit(const Request& request, const ZOVGivenUp& givenUp) {
  ZOV_TRACE(Public);
  return offer(request) ? request->wait(givenUp) : ZOVReturnCode(ZOV_PROFILING_NOT_ACTIVE);
}

ZOVReturnCode CollectorMonitor::submitSession(const Request& request) {
  ZOV_TRACE(Public);
  ZOVReturnCode rc = ZOV_NO_SUBTASK;
  if (!_thread.start()) return rc;
  _thread.offer([&] {
    const MutexLock lock(_mutex);
    rc = _sessionWaits ? ZOV_PING_NOT_EXPECTED : ZOV_OK;
    if (std::exchange(_sessionWaits, true)) return;
    _requests.push_back(request);
  });
  return rc;
}

CollectorMonitor::Request CollectorMonitor::nextRequest() {
  const MutexLock lock(_mutex);
  if (_requests.empty()) return nullptr;
  Request request = std::move(_requests.front());
  _requests.pop_front();
  if (request->beginsSession()) _sessionWaits = false;
  return request;
}

void CollectorMonitor::stop(bool force) {
  ZOV_TRACE(Public);
  if (!force && isCollecting()) return;
  _thread.requestStop();
  if (force) _session.interrupt();
  _thread.waitUntilStopped();
}

// --- On the thread.

void CollectorMonitor::threadBegins() {
  ZOV_FUNCTION;
  _lastResult = 0;
  _lastActivity = _lastConnected = ZOVClock::steady();
  _nextSample = _lastActivity + std::chrono::seconds(_settings.pollInterval);
  ZOV_LOG_MESSAGE(ZOVA0010I, _server.getName());
}

long CollectorMonitor::secondsToNextSample() const {
  return -ZOVClock::secondsSince(_nextSample);
}

long CollectorMonitor::secondsToNextTest() const {
  return zovWaits().quietCollectorSeconds - ZOVClock::secondsSince(_lastActivity);
}

long CollectorMonitor::secondsToNextTurn() {
  const long wait =
      pollsOnInterval() ? std::min(secondsToNextSample(), secondsToNextTest()) : secondsToNextTest();
  const std::uint32_t now = ZOVClock::seconds();
  DGT1_Printf(traceUnit, DGT1_DETAIL, "TimeToWait = %i  CurrentTime = %i  TimeToWaitForNextSample = %i", wait,
              now, now + wait);
  DGT1_Printf(traceUnit, DGT1_FLOW, "mCollectingRequestData is %i, CollectingGCData is %i",
              _session.switches().collectsRequests(), _session.switches().collectsGC());
  return wait;
}

void CollectorMonitor::turn() {
  if (_server.getStatus() == ServerConnected) _lastConnected = ZOVClock::steady();
  serveRequests();
  // The interval may have become shorter.
  _nextSample = std::min(_nextSample, ZOVClock::steady() + std::chrono::seconds(_settings.pollInterval));
  if (pollsOnInterval() && secondsToNextSample() <= 0) sampleOnInterval();
  if (secondsToNextTest() <= 0) testWhenQuiet();
  if (isUnused()) _thread.stopUnlessWoken();
}

bool CollectorMonitor::isUnused() const {
  return _server.getStatus() != ServerConnected &&
         ZOVClock::secondsSince(_lastConnected) >= zovWaits().disconnectedSeconds;
}

/// The next one is reckoned from now, not from the last target: a slow poll pushes the later ones back.
void CollectorMonitor::sampleOnInterval() {
  _nextSample = ZOVClock::steady() + std::chrono::seconds(_settings.pollInterval);
  if (!isCollecting() || !_session.isConnected()) return;
  _lastResult = _session.takeSamples(ZOVResourceAnchor(ZOVApplicationServerBase::EverythingSampleType));
  _lastActivity = ZOVClock::steady();
}

void CollectorMonitor::testWhenQuiet() {
  _lastActivity = ZOVClock::steady();
  if (_session.isConnected()) _lastResult = _session.testConnectivity();
}

bool CollectorMonitor::isCollecting() const {
  return _session.switches().collectsRequests() || _session.switches().collectsGC();
}

void CollectorMonitor::serveRequests() {
  while ((_requestInHand = nextRequest())) {
    if (_requestInHand->isAbandoned()) continue;
    const bool possible = _requestInHand->beginsSession() || _session.isConnected();
    _lastResult = possible ? _requestInHand->process(&_server) : ZOVReturnCode(ZOV_PROFILING_NOT_ACTIVE);
    _lastActivity = ZOVClock::steady();
    std::exchange(_requestInHand, nullptr)->post(_lastResult);
  }
}

bool CollectorMonitor::turnFailed(const ZOVReturnCode& rc) {
  _lastResult = rc;
  const Request request = std::exchange(_requestInHand, nullptr);
  if (!request) return false;
  request->post(rc ? rc : ZOVReturnCode(ZOV_EXCEPTION_CAUGHT));
  return true;
}

void CollectorMonitor::threadEnds() {
  ZOV_FUNCTION;
  guarded(ZOV_PLACE, [&] {
    DGT1_Printf(traceUnit, DGT1_DETAIL, "MSG_APP_SERVER_BACKGROUND_PROFILER_STOPPED error %i",
                static_cast<unsigned int>(_lastResult));
    ZOV_LOG_MESSAGE(ZOVA0011I, _server.getName());
  });
  if (const Request request = std::exchange(_requestInHand, nullptr)) request->post(ZOV_PROFILING_NOT_ACTIVE);
  answerWaiting();
}

void CollectorMonitor::startFailed() {
  ZOV_FUNCTION;
  static MessageRate rate{1, std::chrono::minutes(1)};  // of all servers: a peer can ask for threads at will
  guarded(ZOV_PLACE, [&] {
    if (rate.admit()) ZOV_LOG_ERROR(ZOVA0174E, "collector session monitor", _server.getName());
  });
  answerWaiting();
}

void CollectorMonitor::answerWaiting() {
  while (const Request request = nextRequest()) request->post(ZOV_PROFILING_NOT_ACTIVE);
}

}  // namespace zov
