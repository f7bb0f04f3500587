#include "transport/session_listener.h"

#include <utility>

#include "diag/agent_log.h"
#include "platform/message_rate.h"
#include "platform/services.h"
#include "platform/trace.h"
#include "runtime/budgets.h"
#include "runtime/recovery.h"
#include "runtime/trace_scope.h"
#include "runtime/waits.h"
#include "transport/buffer.h"
#include "transport/response.h"

static DGT1_Unit traceUnit("ZOVCPSKM");

/// Without ZOV_LOCAL_ADDRESS; an empty text is all interfaces.
static constexpr const char* DefaultAddress = "127.0.0.1";

std::atomic<ZOVProfilerSocketMonitor*> ZOVProfilerSocketMonitor::pMonitor{nullptr};

/// Stands outside of the frame of its turn, so that a raise loses none of it.
struct ZOVProfilerSocketMonitor::Turn {
  explicit Turn(const std::shared_ptr<zov::Reception>& from) : reception(from) {}
  /// What nobody has taken.
  ~Turn() {
    if (guest.connection && !greeting) reception->socket().deleteSocket(guest.connection.get());
  }
  const std::shared_ptr<zov::Reception>& reception;
  zov::Reception::Guest guest;
  std::unique_ptr<ZOVTransportableData> message;
  std::shared_ptr<zov::Greeting> greeting;  // has the connection
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
  if (const std::shared_ptr<ZOVServerSocket> socket = open()) {
    const auto reception = std::make_shared<zov::Reception>(socket);
    while (!isShutdownRequested()) {
      _vital.beat(std::chrono::seconds(zovWaits().listenerAcceptSeconds));
      if (!serveNext(reception)) _shutdownEvent.waitWithTimeout(zovWaits().acceptPauseSeconds);
    }
  }
  _vital.rest();
  guarded(ZOV_PLACE, [&] { _directory.stopProfilerMonitorThreads(); });
  const zov::MutexLock lock(_serverSocketMutex);
  _serverSocket.reset();
}

/// Null when told to stop.
std::shared_ptr<ZOVServerSocket> ZOVProfilerSocketMonitor::open() {
  ZOV_TRACE(Private);
  const char* const address = OSL1_GetEnv("ZOV_LOCAL_ADDRESS", DefaultAddress);
  while (!isShutdownRequested()) {
    _vital.beat(std::chrono::seconds(zovWaits().listenerRetrySeconds));
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

bool ZOVProfilerSocketMonitor::serveNext(const std::shared_ptr<zov::Reception>& reception) {
  ZOV_TRACE(Private);
  Turn turn(reception);
  ZOVReturnCode rc;
  const auto failure = guarded(ZOV_PLACE, [&] {
    rc = reception->next(turn.guest, zovWaits().listenerAcceptSeconds);
    if (turn.guest.frame && !isShutdownRequested()) greet(turn);
  });
  return turn.guest.connection || (!failure && rc == ZOV_SOCKET_TIMED_OUT);
}

void ZOVProfilerSocketMonitor::greet(Turn& turn) {
  ZOV_TRACE(Private);
  ZOVBuffer& frame = *turn.guest.frame;
  const bool announcesPing = frame.peekDataType() == ZOVTransportableData::RequestDataType &&
                             frame.peekSubtype() == ZOVRequest::PingRequestType;
  if (announcesPing) turn.message = ZOVTransportableData::buildFromBuffer(frame);
  if (!turn.message) {
    turn.reception->leave(std::exchange(turn.guest.connection, nullptr));
    return;
  }
  turn.greeting =
      std::make_shared<zov::Greeting>(turn.reception, turn.guest.connection, std::move(turn.message));
  if (turn.greeting->ping().getPingType() == ZOVPingRequest::RemoteStatisticsPing) {
    greetStatisticsProcess(*turn.greeting);
  } else {
    greetCollector(turn);
  }
}

void ZOVProfilerSocketMonitor::greetStatisticsProcess(zov::Greeting& greeting) {
  ZOV_TRACE(Private);
  const int expected = _directory.isThisPingExpected(greeting);
  if (expected == 1) {
    greeting.accept(0);
    if (_directory.takeRemotePSISocket(greeting.connection(), greeting.ping())) return greeting.handOver();
  } else {
    greeting.refuse(expected);
  }
  DGT1_Printf(traceUnit, DGT1_DETAIL, "Unexpected PING request from remote PSI process id %i is rejected",
              greeting.ping().getProcessId());
}

void ZOVProfilerSocketMonitor::greetCollector(Turn& turn) {
  ZOV_TRACE(Private);
  zov::Greeting& greeting = *turn.greeting;
  DGT1_Printf(traceUnit, DGT1_DETAIL, "Receive PING request from process id %i of %s",
              greeting.ping().getProcessId(), greeting.peer().text().c_str());
  ZOVReturnCode code = checkTexts(greeting.ping());
  if (code == ZOV_OK) code = checkLevels(greeting.ping());
  if (code != ZOV_OK) return greeting.refuse(static_cast<long long>(code));
  code = findOrDefineServer(turn);
  if (code == ZOV_OK) code = _directory.beginSession(*turn.server, turn.greeting);
  if (code == ZOV_OK) return;
  greeting.refuse(static_cast<long long>(code));
  greeting.leaveToPeer();
}

ZOVReturnCode ZOVProfilerSocketMonitor::findOrDefineServer(Turn& turn) {
  if (const ZOVReturnCode code = _directory.admit(*turn.greeting)) return code;
  const ZOVReturnCode code = _directory.findServer(*turn.greeting, turn.server);
  return code == ZOV_NOT_MATCHING_PING ? _directory.defineNewServer(*turn.greeting, turn.server) : code;
}

ZOVReturnCode ZOVProfilerSocketMonitor::checkTexts(const ZOVPingRequest& ping) {
  ZOV_TRACE(Private);
  constexpr std::size_t ShownName = 64;
  const struct {
    const char* what;
    const RWCString& text;
  } texts[] = {{"name", ping.getAppServerName()},
               {"root directory", ping.getServerRootDirectory()},
               {"working directory", ping.getWorkingDirectory()},
               {"alias", ping.getAliasName()},
               {"locale", ping.getLocaleName()}};
  const std::size_t most = zovBudgets().name.bytes;
  for (const auto& [what, text] : texts) {
    if (text.length() <= most) continue;
    ZOV_LOG_MESSAGE(ZOVA0179W, DGT1_Cut(ping.getAppServerName().view(), ShownName).c_str(), what, most);
    return ZOV_INVALID_DATA;
  }
  return ZOV_OK;
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
    DGT1_PrintfLimited(traceUnit, DGT1_ERROR,
                       "Error - %s build level for Process Id %i is incompatible with the agent", level.part,
                       ping.getProcessId());
    DGT1_PrintfLimited(traceUnit, DGT1_ERROR, "Required build level is %i.  Actual build level is %i",
                       level.required, level.actual);
    _directory.writeProductEvent(ZOV_PLACE, __LINE__, level.eventText);
    return level.refusal;
  }
  return ZOV_OK;
}
