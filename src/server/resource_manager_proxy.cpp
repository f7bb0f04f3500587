#include "server/resource_manager_proxy.h"

#include <algorithm>
#include <utility>

#include "runtime/recovery.h"
#include "runtime/trace_scope.h"
#include "runtime/waits.h"

static DGT1_Unit traceUnit("ZOVRSCMP");

namespace {

/// After a turn that failed, so that one which fails again and again does not spin.
constexpr long RestSeconds = 1;

bool isDue(ZOVClock::Steady last, long period) {
  return ZOVClock::secondsSince(last) >= period;
}

/// The codes of the timers' operations are failures of the turn.
void require(const ZOVReturnCode& code) {
  if (code != ZOV_OK) zovRaise(ZOVException(code));
}

}  // namespace

ZOVReturnCode ZOVResourceManagerProxy::startProcessing(RPXCollectionRequest& request) {
  ZOV_TRACE(Public);
  const bool taken = holding(_taskLock, Exclusive, [&]() ZOV_REQUIRES(_taskLock) {
    if (!_ready || isShutdownRequested()) return false;
    _pendingRequests.push_back(&request);
    _shutdownEvent.post();
    return true;
  });
  if (taken) return ZOV_OK;
  request.setComplete(ZOV_PSI_NOT_ACTIVE);
  return ZOV_PSI_NOT_ACTIVE;
}

void ZOVResourceManagerProxy::shutdown() {
  ZOV_TRACE(Public);
  ZOVAsynchronousTask::shutdown();
  threadEnded();
}

void ZOVResourceManagerProxy::threadEnded() {
  _ready = false;
  if (_requestInHand) std::exchange(_requestInHand, nullptr)->finish(ZOV_PSI_NOT_ACTIVE);
  while (RPXCollectionRequest* request = takeFirst()) request->finish(ZOV_PSI_NOT_ACTIVE);
}

RPXCollectionRequest* ZOVResourceManagerProxy::takeFirst() {
  return holding(_taskLock, Exclusive, [this]() ZOV_REQUIRES(_taskLock) -> RPXCollectionRequest* {
    if (_pendingRequests.empty()) return nullptr;
    RPXCollectionRequest* const request = _pendingRequests.front();
    _pendingRequests.pop_front();
    return request;
  });
}

bool ZOVResourceManagerProxy::hasRequests() {
  return holding(_taskLock, Exclusive,
                 [this]() ZOV_REQUIRES(_taskLock) { return !_pendingRequests.empty(); });
}

// --- On the thread.

void ZOVResourceManagerProxy::backgroundProcessing() {
  ZOV_TRACE(Public);
  _lastEnumeration = _lastPing = _lastRefresh = ZOVClock::steady();
  _ready = true;
  startupCompleted(1);
  while (!isShutdownRequested()) {
    const auto failure = guarded(ZOV_PLACE, [this] { turn(); });
    if (!failure) continue;
    const ZOVReturnCode code = failure->getReturnCode();
    if (_requestInHand) {
      std::exchange(_requestInHand, nullptr)->finish(code ? code : ZOVReturnCode(ZOV_EXCEPTION_CAUGHT));
    } else {
      _shutdownEvent.waitWithTimeout(RestSeconds);
    }
  }
}

void ZOVResourceManagerProxy::turn() {
  runTimers();
  // What was posted for a request that waits may have been taken by the wait before a turn that failed.
  if (const long wait = secondsToNextTimer(); wait > 0 && !hasRequests())
    _shutdownEvent.waitWithTimeout(wait);
  while (!isShutdownRequested() && (_requestInHand = takeFirst())) {
    process(_requestInHand, MarkComplete);
    _requestInHand = nullptr;
  }
}

void ZOVResourceManagerProxy::runTimers() {
  if (isDue(_lastEnumeration, zovWaits().enumerateServersSeconds)) {
    const ZOVReturnCode code = enumerateApplicationServers();
    _lastEnumeration = _lastPing = ZOVClock::steady();
    require(code);
  }
  if (isDue(_lastPing, zovWaits().pingServersSeconds)) {
    const ZOVReturnCode code = pingApplicationServers(nullptr);
    _lastPing = ZOVClock::steady();
    require(code);
  }
  if (isDue(_lastRefresh, zovWaits().refreshNamesSeconds)) {
    const ZOVReturnCode code = refreshNameCache(nullptr);
    _lastRefresh = ZOVClock::steady();
    require(code);
  }
}

long ZOVResourceManagerProxy::secondsToNextTimer() const {
  return static_cast<long>(
      std::min({zovWaits().enumerateServersSeconds - ZOVClock::secondsSince(_lastEnumeration),
                zovWaits().pingServersSeconds - ZOVClock::secondsSince(_lastPing),
                zovWaits().refreshNamesSeconds - ZOVClock::secondsSince(_lastRefresh)}));
}
