#include "remote/remote_jvm.h"

#include <algorithm>
#include <climits>
#include <utility>

#include "diag/agent_log.h"
#include "platform/message_rate.h"
#include "remote/remote_psi_client.h"
#include "runtime/recovery.h"
#include "runtime/trace_scope.h"
#include "runtime/waits.h"
#include "server/application_server_base.h"
#include "transport/buffer.h"
#include "transport/ping_request.h"
#include "transport/response.h"
#include "transport/session_listener.h"
#include "transport/socket_connection.h"

static DGT1_Unit traceUnit("ZOVRRJVM");

namespace {

/// Of a negative answer, which is never taken for success.
ZOVReturnCode reasonOf(const ZOVResponse& response) {
  const long long value = response.getValue();
  return value > 0 && value <= UINT_MAX ? ZOVReturnCode(static_cast<unsigned int>(value))
                                        : ZOVReturnCode(ZOV_INVALID_RESPONSE);
}

}  // namespace

// --- A request on the wire.

ZOVRemoteResourceManager::RemoteJVMSocketRequest::RemoteJVMSocketRequest(const ZOVRequest& wire,
                                                                         Answer answer, int timeout)
    : RPXCollectionRequest(Mask, nullptr, nullptr), _wire(wire.clone()), _answer(answer) {
  setTimeout(timeout);
}

ZOVRemoteResourceManager::RemoteJVMSocketRequest::~RemoteJVMSocketRequest() = default;

void ZOVRemoteResourceManager::RemoteJVMSocketRequest::requestStarted(unsigned int connection) {
  _connection = connection;
  _started = ZOVClock::steady();
}

bool ZOVRemoteResourceManager::RemoteJVMSocketRequest::requestTimedOut() const {
  return getTimeout() > 0 && ZOVClock::secondsSince(_started) >= getTimeout();
}

bool ZOVRemoteResourceManager::RemoteJVMSocketRequest::gotSample(std::unique_ptr<ZOVSample> sample) {
  // Each counts for something, or samples without a text would have no limit.
  constexpr std::size_t Overhead = 256;
  _sampleBytes += Overhead + sample->getStringData(zov::key::statistics_text).length();
  if (_sampleBytes > MaximumSampleBytes) return false;
  insert(sample.release());
  return true;
}

// --- The JVM.

ZOVRemoteResourceManager::RemoteJVM::RemoteJVM(ZOVRemoteResourceManager& manager,
                                               ZOVApplicationServerBase& server)
    : _manager(manager),
      _server(server.weak_from_this()),
      _rootDirectory(server.getServerRootDirectory()),
      _serverName(server.getName()),
      _hashKey(ZOVResourceAnchor::createHashKey(_rootDirectory.view())) {}

ZOVRemoteResourceManager::RemoteJVM::~RemoteJVM() {
  RemoteJVM::shutdown();
}

void ZOVRemoteResourceManager::RemoteJVM::requestStop() {
  ZOV_TRACE(Public);
  requestShutdown();
  _requestEvent.post();
  _connectEvent.post();
  const zov::MutexLock lock(_pingMutex);
  if (_socket) _socket->shutdownSocket();
}

void ZOVRemoteResourceManager::RemoteJVM::shutdown() {
  ZOV_TRACE(Public);
  requestStop();
  ZOVServiceTask::shutdown();
  for (const Client& client : clients()) client->shutdown();
}

void ZOVRemoteResourceManager::RemoteJVM::definePSIClient(const Client& client) {
  ZOV_TRACE(Public);
  holding(_clientLock, Exclusive, [&]() ZOV_REQUIRES(_clientLock) { _clients.push_back(client); });
}

std::vector<ZOVRemoteResourceManager::RemoteJVM::Client> ZOVRemoteResourceManager::RemoteJVM::clients()
    const {
  return holding(_clientLock, Shared, [&]() ZOV_REQUIRES_SHARED(_clientLock) { return _clients; });
}

bool ZOVRemoteResourceManager::RemoteJVM::isUnused() {
  const Server server = getServer();
  if (server && server->getStatus() == ServerConnected) _lastConnected = ZOVClock::steady();
  return !server || ZOVClock::secondsSince(_lastConnected) >= zovWaits().disconnectedSeconds;
}

// --- The thread.

void ZOVRemoteResourceManager::RemoteJVM::threadEnded() {
  ZOV_FUNCTION;
  ZOVServiceTask::threadEnded();
  guarded(ZOV_PLACE, [this] { _manager.lookAfterJVMs(); });
}

void ZOVRemoteResourceManager::RemoteJVM::backgroundProcessing() {
  ZOV_TRACE(Public);
  startupCompleted(1);
  withCleanup(
      [this] {
        guarded(ZOV_PLACE, [this] { isConnected(); });
        _serverInHand.reset();
        while (!isShutdownRequested()) {
          const auto failure = guarded(ZOV_PLACE, [this] { turn(); });
          _serverInHand.reset();
          if (failure && _requestInHand) {
            const ZOVReturnCode code = failure->getReturnCode();
            std::exchange(_requestInHand, nullptr)->finish(code ? code : ZOVReturnCode(ZOV_EXCEPTION_CAUGHT));
          }
        }
      },
      [this] {
        guarded(ZOV_PLACE, [this] { disconnected(); });
        if (_requestInHand) std::exchange(_requestInHand, nullptr)->finish(ZOV_TASK_SHUTTING_DOWN);
      });
}

/// Looks at the queue between any two frames, so that several clients can be served at a time.
void ZOVRemoteResourceManager::RemoteJVM::turn() {
  ZOV_TRACE(Private);
  RPXAsynchronousCollectionRequest* const next =
      _pendingRequests.empty() ? waitForNextRequest() : waitForNextRequest(0);
  _requestInHand = static_cast<Request>(next);
  if (_requestInHand) processJVMSocketRequest();
  if (!_pendingRequests.empty()) pollForPendingRequests();
  removeTimedOutRequests();
}

void ZOVRemoteResourceManager::RemoteJVM::processJVMSocketRequest() {
  ZOV_TRACE(Private);
  if (!isConnected()) {
    std::exchange(_requestInHand, nullptr)->finish(ZOV_CLIENT_NOT_CONNECTED);
    return;
  }
  _requestInHand->requestStarted(_connection);
  const ZOVReturnCode rc = _requestInHand->wire().send(*socket());
  _pendingRequests.push_back(_requestInHand);
  _requestInHand = nullptr;
  if (rc != ZOV_OK) handleBadSocketRC(rc);
}

/// Takes the next frame, when one comes soon.
void ZOVRemoteResourceManager::RemoteJVM::pollForPendingRequests() {
  ZOV_TRACE(Private);
  ZOVReturnCode rc = socket()->waitForSocketOrTimeout(zovWaits().statisticsReadSeconds);
  if (rc == ZOV_SOCKET_TIMED_OUT) return;
  if (rc == ZOV_OK) _frame = socket()->receive(rc, 0, LogEveryFailure);
  if (rc != ZOV_OK) return handleBadSocketRC(rc);
  const int dataType = _frame->peekDataType();
  const int subtype = _frame->peekSubtype();
  _message = ZOVTransportableData::buildFromBuffer(*_frame);
  _frame.reset();
  if (_message && dataType == ZOVTransportableData::SampleDataType) {
    gotSample(std::unique_ptr<ZOVSample>(static_cast<ZOVSample*>(_message.release())));
  } else if (_message && subtype == ZOVRequest::ResponseType) {
    gotResponse(static_cast<const ZOVResponse&>(*_message));
  } else {
    DGT1_PrintfLimited(traceUnit, DGT1_ERROR, "Unexpected message of type %i, subtype %i deleted", dataType,
                       subtype);
  }
  _message.reset();
}

// --- What comes.

void ZOVRemoteResourceManager::RemoteJVM::gotResponse(const ZOVResponse& response) {
  const Request request = searchPendingRequests(response.getCorrelatorId());
  if (!request) {
    DGT1_PrintfLimited(traceUnit, DGT1_ERROR, "Unexpected response with correlator %i deleted",
                       response.getCorrelatorId());
    return;
  }
  if (!response.getStatus()) {
    ZOV_FUNCTION;
    const ZOVReturnCode reason = reasonOf(response);
    ZOV_LOG_ERROR(ZOVA0135E, reason.getDescription(), getName());
    return complete(request, reason);
  }
  request->setValue(response.getValue());
  // One that samples are to follow is only announced by it.
  if (!request->wantsSamples() || request->hasSamples()) complete(request, ZOV_OK);
}

void ZOVRemoteResourceManager::RemoteJVM::gotSample(std::unique_ptr<ZOVSample> sample) {
  const long long correlator = sample->getNumericData(zov::key::correlator);
  const Request request =
      correlator == ZOVSample::NullValue ? onlySampleRequest() : searchPendingRequests(correlator);
  if (!request || !request->wantsSamples()) {
    DGT1_PrintfLimited(traceUnit, DGT1_ERROR, "Unexpected sample deleted");
  } else if (sample->getSampleType() == ZOVSample::SampleTypeEnd) {
    complete(request, ZOV_OK);
  } else if (!request->gotSample(std::move(sample))) {
    DGT1_Printf(traceUnit, DGT1_ERROR, "Statistics of more than %u bytes from %s are dropped",
                RemoteJVMSocketRequest::MaximumSampleBytes, getName().data());
    complete(request, ZOV_UNEXPECTED_DATA);
  }
}

ZOVRemoteResourceManager::RemoteJVM::Request ZOVRemoteResourceManager::RemoteJVM::searchPendingRequests(
    long long correlator) const {
  const auto found = std::ranges::find(_pendingRequests, correlator, [](const Request request) {
    return static_cast<long long>(request->wire().getCorrelatorId());
  });
  return found == _pendingRequests.end() ? nullptr : *found;
}

/// Null when there is none, or more than one.
ZOVRemoteResourceManager::RemoteJVM::Request ZOVRemoteResourceManager::RemoteJVM::onlySampleRequest() const {
  if (std::ranges::count_if(_pendingRequests, &RemoteJVMSocketRequest::wantsSamples) != 1) return nullptr;
  return *std::ranges::find_if(_pendingRequests, &RemoteJVMSocketRequest::wantsSamples);
}

void ZOVRemoteResourceManager::RemoteJVM::removeTimedOutRequests() {
  ZOV_FUNCTION;
  for (;;) {
    const auto late = std::ranges::find_if(_pendingRequests, &RemoteJVMSocketRequest::requestTimedOut);
    if (late == _pendingRequests.end()) return;
    ZOV_LOG_ERROR(ZOVA0134E, getName());
    complete(*late, ZOV_STATISTICS_TIMED_OUT);
  }
}

void ZOVRemoteResourceManager::RemoteJVM::complete(Request request, const ZOVReturnCode& code) {
  std::erase(_pendingRequests, request);
  request->finish(code);
}

void ZOVRemoteResourceManager::RemoteJVM::handleBadSocketRC(const ZOVReturnCode& rc) {
  ZOV_TRACE(Private);
  if (!isShutdownRequested()) {
    ZOV_LOG_ERROR(ZOVA0136E, rc.getDescription(), getName());
  }
  disconnected();
}
