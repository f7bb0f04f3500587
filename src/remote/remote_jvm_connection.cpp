// How a remote JVM is asked for, calls back, and is lost.

#include <sys/random.h>

#include <climits>

#include "diag/agent_log.h"
#include "remote/remote_jvm.h"
#include "remote/remote_psi_client.h"
#include "runtime/recovery.h"
#include "runtime/trace_scope.h"
#include "runtime/waits.h"
#include "server/application_server_base.h"
#include "transport/buffer.h"
#include "transport/ping_request.h"
#include "transport/session_listener.h"
#include "transport/socket_connection.h"
#include "transport/statistics_requests.h"

static DGT1_Unit traceUnit("ZOVRRJCN");

namespace {

/// While the JVM is waited for, the thread looks this often whether it can still come.
constexpr long LookSeconds = 1;

}  // namespace

bool ZOVRemoteResourceManager::RemoteJVM::isConnected() {
  ZOV_TRACE(Private);
  if (socket()) return true;
  _serverInHand = getServer();
  if (!_serverInHand || _serverInHand->getStatus() != ServerConnected || isShutdownRequested()) return false;
  if (recreate() == ZOV_OK) return true;
  if (++_retryCount < MaximumRetries) return false;
  DGT1_Printf(traceUnit, DGT1_ERROR,
              "Unable to reconnect to PSIClient JVM for directory %s - maximum retry limit reached",
              getName().data());
  requestStop();
  return false;
}

ZOVReturnCode ZOVRemoteResourceManager::RemoteJVM::recreate() {
  ZOV_TRACE(Private);
  const ZOVReturnCode rc = connectWithRemoteJVM();
  if (rc == ZOV_OK) _retryCount = 0;
  return rc;
}

ZOVReturnCode ZOVRemoteResourceManager::RemoteJVM::connectWithRemoteJVM() {
  ZOV_TRACE(Private);
  disconnected();
  assignToken();
  setWaitingForPing();
  const ZOVClock::Steady asked = ZOVClock::steady();
  ZOVReturnCode rc = askForJVM(*_serverInHand);
  if (rc == ZOV_OK) rc = waitForContact(asked);
  noLongerInterestedInPing();
  // It may have called back at the last moment.
  return rc != ZOV_OK && getSocketIfAvailable() ? ZOVReturnCode(ZOV_OK) : rc;
}

/// A refusal tells the collector's reason, and ends the tries.
ZOVReturnCode ZOVRemoteResourceManager::RemoteJVM::askForJVM(ZOVApplicationServerBase& server) {
  ZOVProfilerSocketMonitor* const listener = ZOVProfilerSocketMonitor::pMonitor;
  const ZOVInitiateRemotePSIClientRequest request(listener ? listener->getPort() : 0, getToken());
  long long value = 0;
  RWCString detail;
  ZOVReturnCode rc = server.sendProfilerCollectionRequest(request, &value, &detail);
  const bool refused = rc == ZOV_INVALID_RESPONSE;
  if (refused && value > 0 && value < ZOVReturnCode::Count) rc = static_cast<unsigned int>(value);
  if (rc != ZOV_OK) noLongerInterestedInPing();
  if (rc != ZOV_OK && !isShutdownRequested()) {
    ZOV_FUNCTION;
    ZOV_LOG_ERROR(ZOVA0137E, rc.getDescription(), _serverName, detail);
  }
  if (refused) requestStop();
  return rc;
}

ZOVReturnCode ZOVRemoteResourceManager::RemoteJVM::waitForContact(ZOVClock::Steady asked) {
  const unsigned int processId = _serverInHand->getProcessId();
  while (!getSocketIfAvailable()) {
    if (isShutdownRequested()) return ZOV_TASK_SHUTTING_DOWN;
    if (ZOVClock::secondsSince(asked) >= zovWaits().remoteContactSeconds || !isContactPossible(processId)) {
      ZOV_FUNCTION;
      ZOV_LOG_ERROR(ZOVA0138W, _serverName);
      return ZOV_NO_REMOTE_CONTACT;
    }
    _connectEvent.waitWithTimeout(LookSeconds);
  }
  return ZOV_OK;
}

/// The JVM goes with the process that was asked for it.
bool ZOVRemoteResourceManager::RemoteJVM::isContactPossible(unsigned int processId) const {
  return _serverInHand->getStatus() == ServerConnected && _serverInHand->getProcessId() == processId;
}

void ZOVRemoteResourceManager::RemoteJVM::disconnected() {
  ZOV_TRACE(Private);
  _connection = 0;  // first: what is made from here on is not for the connection that goes
  std::shared_ptr<ZOVSocketConnection> lost;
  {
    const zov::MutexLock lock(_pingMutex);
    lost.swap(_socket);
  }
  if (lost) {
    if (ZOVProfilerSocketMonitor* const listener = ZOVProfilerSocketMonitor::pMonitor) {
      listener->deleteSocket(lost.get());
    }
    lost->shutdownSocket();
  }
  while (!_pendingRequests.empty()) complete(_pendingRequests.back(), ZOV_NO_REMOTE_JVM);
  for (const Client& client : clients()) client->disconnected();
}

// --- The ping, and what it brings.

/// A positive number of 31 bits.
void ZOVRemoteResourceManager::RemoteJVM::assignToken() {
  ZOV_TRACE(Private);
  int random = 0;
  while (::getrandom(&random, sizeof random, 0) != sizeof random || (random &= INT_MAX) == 0) {
  }
  const zov::MutexLock lock(_pingMutex);
  _token = random;
}

int ZOVRemoteResourceManager::RemoteJVM::getToken() const {
  const zov::MutexLock lock(_pingMutex);
  return _token;
}

void ZOVRemoteResourceManager::RemoteJVM::setWaitingForPing() {
  _connectEvent.reset();
  const zov::MutexLock lock(_pingMutex);
  _waitingForPing = true;
}

void ZOVRemoteResourceManager::RemoteJVM::noLongerInterestedInPing() {
  const zov::MutexLock lock(_pingMutex);
  _waitingForPing = false;
}

bool ZOVRemoteResourceManager::RemoteJVM::isWaitingForPing(const ZOVPingRequest& ping) const {
  const zov::MutexLock lock(_pingMutex);
  return expects(ping);
}

bool ZOVRemoteResourceManager::RemoteJVM::expects(const ZOVPingRequest& ping) const {
  return _waitingForPing && !_socket && ping.getRemoteToken() == _token;
}

bool ZOVRemoteResourceManager::RemoteJVM::pingHasArrived(const std::shared_ptr<ZOVSocketConnection>& socket,
                                                         const ZOVPingRequest& ping) {
  const zov::MutexLock lock(_pingMutex);
  if (!expects(ping)) return false;
  _socket = socket;
  _connectEvent.post();
  return true;
}

/// True when the JVM has called back: its connection is this thread's then.
bool ZOVRemoteResourceManager::RemoteJVM::getSocketIfAvailable() {
  ZOVSocketConnection* const connection = socket();
  if (!connection) return false;
  const RWCString name = RWCString("PSIclient:") + _serverName;
  connection->setConnectionName(name.data());
  connection->setProgressLimit(_manager.socketReceiveTimeout());
  if (++_connectionsMade == 0) ++_connectionsMade;
  _connection = _connectionsMade;
  return true;
}

ZOVSocketConnection* ZOVRemoteResourceManager::RemoteJVM::socket() const {
  const zov::MutexLock lock(_pingMutex);
  return _socket.get();
}
