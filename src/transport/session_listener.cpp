#include "transport/session_listener.h"

#include <utility>

#include "diag/agent_log.h"
#include "platform/services.h"
#include "platform/trace.h"
#include "runtime/recovery.h"
#include "runtime/trace_scope.h"
#include "runtime/waits.h"
#include "transport/buffer.h"
#include "transport/response.h"

static DGT1_Unit traceUnit("ZOVCPSKM");

std::atomic<ZOVProfilerSocketMonitor*> ZOVProfilerSocketMonitor::pMonitor{nullptr};

/// Stands outside of the frame of its turn, so that a raise loses none of it.
struct ZOVProfilerSocketMonitor::Turn {
  enum Fate {
    Deleted,    // refused, failed, or nobody's after all
    Ownerless,  // left open for its peer to close
    Bound,      // somebody else's
  };
  Fate fate = Deleted;
  std::shared_ptr<ZOVSocketConnection> connection;
  std::unique_ptr<ZOVBuffer> frame;
  std::unique_ptr<ZOVTransportableData> message;
  std::shared_ptr<ZOVApplicationServer> server;
};

ZOVProfilerSocketMonitor::ZOVProfilerSocketMonitor(std::uint16_t port, ZOVSessionDirectory& directory)
    : _port(port), _directory(directory) {
  pMonitor = this;
}

ZOVProfilerSocketMonitor::~ZOVProfilerSocketMonitor() {
  ZOV_TRACE(Public);
  shutdown();
  pMonitor = nullptr;
}

void ZOVProfilerSocketMonitor::shutdown() {
  ZOV_TRACE(Public);
  requestShutdown();
  if (const std::shared_ptr<ZOVServerSocket> socket = serverSocket()) {
    guarded(ZOV_PLACE, [&] {
      socket->shutdownAll();
      _directory.shutDownServerSockets();
    });
  }
  ZOVAsynchronousTask::shutdown();
}

void ZOVProfilerSocketMonitor::deleteSocket(const ZOVSocketConnection* connection) {
  ZOV_TRACE(Public);
  if (const std::shared_ptr<ZOVServerSocket> socket = serverSocket()) socket->deleteSocket(connection);
}

std::uint16_t ZOVProfilerSocketMonitor::getPort() {
  const std::shared_ptr<ZOVServerSocket> socket = serverSocket();
  return socket ? socket->getPort() : _port;
}

std::shared_ptr<ZOVServerSocket> ZOVProfilerSocketMonitor::serverSocket() {
  const zov::MutexLock lock(_serverSocketMutex);
  return _serverSocket;
}

void ZOVProfilerSocketMonitor::backgroundProcessing() {
  ZOV_TRACE(Public);
  startupCompleted(1);
  std::shared_ptr<ZOVServerSocket> socket = open();
  if (socket) {
    while (!isShutdownRequested() && serveNext(*socket)) {
    }
    if (!isShutdownRequested()) {
      DGT1_Printf(traceUnit, DGT1_ERROR, "Accepting has ended; the sessions that stand go on");
      socket->closeListening();
      guarded(ZOV_PLACE, [&] { socket->waitForShutdown(); });
    }
  }
  guarded(ZOV_PLACE, [&] { _directory.stopProfilerMonitorThreads(); });
  const zov::MutexLock lock(_serverSocketMutex);
  _serverSocket.reset();
}

/// Null when told to stop.
std::shared_ptr<ZOVServerSocket> ZOVProfilerSocketMonitor::open() {
  ZOV_TRACE(Private);
  const char* const address = OSL1_GetEnv("ZOV_LOCAL_ADDRESS", "");
  while (!isShutdownRequested()) {
    guarded(ZOV_PLACE, [&] { tryToOpen(address); });
    if (std::shared_ptr<ZOVServerSocket> socket = serverSocket()) return socket;
    const std::string port =
        *address ? DGT1_FormatText("%s:%i", address, _port) : DGT1_FormatText("%i", _port);
    ZOV_LOG_ERROR(ZOVA0084E, port.c_str(), zovWaits().listenerRetrySeconds);
    _shutdownEvent.waitWithTimeout(zovWaits().listenerRetrySeconds);
  }
  return nullptr;
}

void ZOVProfilerSocketMonitor::tryToOpen(const char* address) {
  auto socket = std::make_shared<ZOVServerSocket>(address, _port, "Server Socket", Backlog);
  if (!socket->isValid()) return;
  const zov::MutexLock lock(_serverSocketMutex);
  _serverSocket = std::move(socket);
}

bool ZOVProfilerSocketMonitor::serveNext(ZOVServerSocket& socket) {
  ZOV_TRACE(Private);
  Turn turn;
  ZOVReturnCode rc;
  guarded(ZOV_PLACE, [&] {
    turn.connection = socket.clientAccept(rc, zovWaits().listenerAcceptSeconds);
    if (turn.connection && !isShutdownRequested()) greet(turn);
  });
  if (!turn.connection) return rc == ZOV_OK || rc == ZOV_SOCKET_TIMED_OUT;
  if (turn.fate == Turn::Deleted) socket.deleteSocket(turn.connection.get());
  if (turn.fate == Turn::Ownerless) socket.abandon(turn.connection);
  return true;
}

void ZOVProfilerSocketMonitor::greet(Turn& turn) {
  ZOV_TRACE(Private);
  ZOVReturnCode rc;
  turn.frame = turn.connection->receive(rc, 0, LogEveryFailure);
  if (!turn.frame) return;
  const bool announcesPing = turn.frame->peekDataType() == ZOVTransportableData::RequestDataType &&
                             turn.frame->peekSubtype() == ZOVRequest::PingRequestType;
  if (announcesPing) turn.message = ZOVTransportableData::buildFromBuffer(*turn.frame);
  if (!turn.message) {
    turn.fate = Turn::Ownerless;
    return;
  }
  const auto& ping = static_cast<const ZOVPingRequest&>(*turn.message);
  ZOVResponse response;
  response.setStatus(false);
  response.setCorrelatorId(ping.getCorrelatorId());
  if (ping.getPingType() == ZOVPingRequest::RemoteStatisticsPing) {
    greetStatisticsProcess(turn, ping, response);
  } else {
    greetCollector(turn, ping, response);
  }
}

void ZOVProfilerSocketMonitor::greetStatisticsProcess(Turn& turn, const ZOVPingRequest& ping,
                                                      ZOVResponse& response) {
  ZOV_TRACE(Private);
  const bool expected = _directory.isThisPingExpected(ping);
  response.setStatus(expected);
  response.send(*turn.connection);
  if (expected && _directory.takeRemotePSISocket(turn.connection, ping)) {
    turn.fate = Turn::Bound;
    return;
  }
  DGT1_Printf(traceUnit, DGT1_DETAIL, "Unexpected PING request from remote PSI process id %i is rejected",
              ping.getProcessId());
}

void ZOVProfilerSocketMonitor::greetCollector(Turn& turn, const ZOVPingRequest& ping, ZOVResponse& response) {
  ZOV_TRACE(Private);
  DGT1_Printf(traceUnit, DGT1_DETAIL, "Receive PING request from process id %i", ping.getProcessId());
  ZOVReturnCode code = checkLevels(ping);
  const bool levelsFit = code == ZOV_OK;
  if (levelsFit) {
    code = _directory.findServer(ping, turn.server);
    if (code == ZOV_NOT_MATCHING_PING) code = _directory.defineNewServer(ping, turn.server);
  }
  const bool accepted = code == ZOV_OK;
  response.setStatus(accepted);
  response.setValue(accepted ? ProductBuildLevel : static_cast<long long>(code));
  response.send(*turn.connection);
  if (accepted) {
    if (_directory.foundProfiler(*turn.server, turn.connection, ping)) turn.fate = Turn::Bound;
  } else if (levelsFit) {
    turn.fate = Turn::Ownerless;
  }
}

ZOVReturnCode ZOVProfilerSocketMonitor::checkLevels(const ZOVPingRequest& ping) {
  ZOV_TRACE(Private);
  const struct {
    const char* part;
    long long actual, required;
    bool mayBeAbsent;
    ZOVReturnCode refusal;
    const char* eventText;
  } levels[] = {
      {"Profiler", ping.getProfilerBuildLevel(), RequiredProfilerBuildLevel, false, ZOV_PROFILER_LEVEL,
       "ZOVXXXXE Incompatible Data Collector Native Build Level Detected"},
      {"Workload Analysis", ping.getWorkloadAnalysisBuildLevel(), RequiredWorkloadBuildLevel, true,
       ZOV_WORKLOAD_LEVEL, "ZOVXXXXE Incompatible Data Collector Build Level Detected"},
  };
  for (const auto& level : levels) {
    if (level.actual >= level.required || (level.mayBeAbsent && level.actual == 0)) continue;
    DGT1_Printf(traceUnit, DGT1_ERROR,
                "Error - %s build level for Process Id %i is incompatible with the agent", level.part,
                ping.getProcessId());
    DGT1_Printf(traceUnit, DGT1_ERROR, "Required build level is %i.  Actual build level is %i",
                level.required, level.actual);
    _directory.writeProductEvent(ZOV_PLACE, __LINE__, level.eventText);
    return level.refusal;
  }
  return ZOV_OK;
}
