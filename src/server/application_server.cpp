#include "server/application_server.h"

#include <optional>
#include <string>
#include <utility>

#include "diag/agent_log.h"
#include "diag/quoted_string_parser.h"
#include "runtime/recovery.h"
#include "runtime/trace_scope.h"
#include "server/server_services.h"
#include "transport/greeting.h"
#include "transport/session_listener.h"

static DGT1_Unit traceUnit("ZOVASRVR");

namespace {

bool beginsWith(const RWCString& text, std::string_view start) {
  return text.view().starts_with(start);
}

/// A server is freed only when nothing can still be using it.
void letGo(ZOVApplicationServer* server) {
  if (server->threadsHaveEnded()) {
    delete server;
    return;
  }
  DGT1_Printf(traceUnit, DGT1_ERROR, "A thread of application server %s has not ended; the server is kept",
              server->getName().data());
}

}  // namespace

std::shared_ptr<ZOVApplicationServer> ZOVApplicationServer::buildNew(
    const zov::ServerDescription& description, ZOVReturnCode& rc) {
  ZOV_TRACE(Public);
  rc = ZOV_NO_SUCH_SERVER;
  if (description.name.isNull()) return nullptr;
  std::shared_ptr<ZOVApplicationServer> server(new ZOVApplicationServer(description, true), letGo);
  rc = server->init(description.status, 0, {}, {}, -1);
  if (rc != ZOV_OK) return nullptr;
  return server;
}

ZOVApplicationServer::~ZOVApplicationServer() {
  ZOV_TRACE(Public);
  followLog(nullptr);
}

ZOVReturnCode ZOVApplicationServer::init(_AppServerStatus status, unsigned int processId,
                                         std::string_view logFile, std::string_view errLogFile,
                                         long long startTime) {
  ZOV_TRACE(Public);
  if (const ZOVReturnCode rc = ZOVApplicationServerBase::init(status)) return rc;
  if (processId != 0) setDCProbeManagerProcessId(processId);
  if (startTime != -1) setAppServerStartTime(startTime);
  setErrLogFile(errLogFile);
  setLogFile(logFile);
  return 0;
}

const char* ZOVApplicationServer::getSubnodeAffinity() const {
  return getPlatform().index("lbsMail") != RW_NPOS ? "000000000000000000000000000000G000000000000"
                                                   : "0000000000000000000000000000002000000000000";
}

// --- Collector sessions.

namespace {

/// Nobody waits for it: the greeting, when it goes without an answer, closes its connection.
class BeginSessionRequest : public CollectProfilerSampleRequest {
 public:
  BeginSessionRequest(ZOVApplicationServer& server, zov::CollectorSession& former,
                      std::shared_ptr<zov::Greeting> greeting)
      : CollectProfilerSampleRequest(nullptr), _server(server), _greeting(std::move(greeting)) {
    _haste.emplace(former);
  }
  ZOVReturnCode process(ZOVApplicationServerBase*) override {
    const ZOVReturnCode rc = _server.testFormerSession(*_greeting);
    _haste.reset();
    return rc == ZOV_OK ? _server.beginSession(*_greeting) : rc;
  }
  bool beginsSession() const override { return true; }

 private:
  ZOVApplicationServer& _server;
  const std::shared_ptr<zov::Greeting> _greeting;
  std::optional<zov::CollectorSession::Haste> _haste;
};

}  // namespace

ZOVReturnCode ZOVApplicationServer::greet(const std::shared_ptr<zov::Greeting>& greeting) {
  ZOV_TRACE(Public);
  const ZOVReturnCode rc =
      monitor().submitSession(std::make_shared<BeginSessionRequest>(*this, session(), greeting));
  if (rc != ZOV_OK && !isConnectedWithProfiler()) setStatus(ServerDisconnected);
  return rc;
}

ZOVReturnCode ZOVApplicationServer::testFormerSession(zov::Greeting& greeting) {
  ZOV_TRACE(Public);
  // Whom the server belongs to may have been settled since the greeting came.
  ZOVReturnCode rc = admit(greeting.peer());
  if (rc == ZOV_OK && isConnectedWithProfiler() && testConnectivity() == ZOV_OK) rc = ZOV_PING_NOT_EXPECTED;
  if (rc != ZOV_OK) {
    greeting.refuse(static_cast<long long>(rc));
    greeting.leaveToPeer();
  }
  return rc;
}

ZOVReturnCode ZOVApplicationServer::beginSession(zov::Greeting& greeting) {
  ZOV_TRACE(Public);
  ZOVReturnCode rc;
  if (owner().claim(greeting.peer())) ZOVServerServices::current().rewriteContextInfo();
  const auto failure = guarded(ZOV_PLACE, [&] {
    rc = greeting.accept(ZOVProfilerSocketMonitor::ProductBuildLevel);
    if (rc != ZOV_OK || isExcludedFromMonitoring()) return;
    session().begin(greeting);
    if (CollectingRequestData()) takeSampleFromProfiler(ZOVResourceAnchor(EverythingSampleType));
    statistics().sessionBegan();
  });
  if (!isConnectedWithProfiler()) setStatus(ServerDisconnected);
  if (failure) zovRaise(*failure);
  return rc;
}

// --- Log files.

void ZOVApplicationServer::setLogFile(std::string_view text) {
  ZOV_TRACE(Public);
  if (text.empty()) return;
  const RWCString name(text);
  const bool isFollowed = holding(_logFileLock, Shared, [&]() ZOV_REQUIRES_SHARED(_logFileLock) {
    return _followedLog && _followedLog->isNamed(name.data());
  });
  if (!isFollowed && !isExcludedFromMonitoring()) {
    const zov::LogFileOwner* const owner = this;
    followLog(std::make_unique<ZOVLogFile>(name, settings().logScanInterval, settings().retainLogFileEvents,
                                           settings().logFormat, owner,
                                           ZOVServerServices::current().logFileCollector()));
  }
  ZOVApplicationServerBase::setLogFile(text);
}

/// The log that was followed until now goes at the end, when the lock has been given back.
void ZOVApplicationServer::followLog(std::unique_ptr<ZOVLogFile> log) {
  const zov::ExclusiveLock lock(_logFileLock);
  log.swap(_followedLog);
}

bool ZOVApplicationServer::setVerboseGCLogFile(std::string_view text) {
  ZOV_TRACE(Public);
  const RWCString before = getGCLogFileInForce();
  ZOVApplicationServerBase::setVerboseGCLogFile(text);
  if (getGCLogFileInForce() == before) return false;
  if (isConnectedWithProfiler()) session().switches().gcLogFileChanged();
  return true;
}

void ZOVApplicationServer::returnLogFileSamples(ZOVSampleCallback callback, ZOVSampleCallbackParms* parms) {
  ZOV_TRACE(Public);
  holding(_logFileLock, Shared, [&]() ZOV_REQUIRES_SHARED(_logFileLock) {
    if (!_followedLog) return;
    _followedLog->forEachSample([&](const ZOVLogEventSample& event) { callback(parms, &event, this); });
  });
}

// --- Commands.

RWCString ZOVApplicationServer::nameForScripts() const {
  RWCString name = getName();
  if (beginsWith(getPlatform(), "tsl6") || beginsWith(getPlatform(), "bsp6")) {
    if (const std::size_t bracket = name.first('('); bracket != RW_NPOS) name.remove(bracket);
  }
  return name;
}

ZOVReturnCode ZOVApplicationServer::queueCommand(const char* script, std::vector<RWCString> options,
                                                 const RWCString& secret) {
  ZOV_FUNCTION;
  if (!mayRunScripts()) {
    ZOV_LOG_ERROR(ZOVA0175E, getName());
    return ZOV_NOT_AUTHENTICATED;
  }
  options.insert(options.begin(), nameForScripts());
  const ZOVReturnCode rc =
      ZOVServerServices::current().queueSystemCommand({.directory = getServerRootDirectory() + "/bin",
                                                       .command = RWCString(script) + ".sh",
                                                       .arguments = std::move(options),
                                                       .secret = secret,
                                                       .owner = getOwner(),
                                                       .afterwards =
                                                           [weak = weak_from_this()] {
                                                             if (const auto server = weak.lock())
                                                               server->offerConnectivityTest();
                                                           },
                                                       .observer = nullptr});
  if (rc == ZOV_COMMAND_QUEUED) startedCollectingRequestData(false);
  return rc;
}

ZOVReturnCode ZOVApplicationServer::startAppServer(const RWCString&) {
  ZOV_TRACE(Public);
  return queueCommand("startServer", {}, {});
}

ZOVReturnCode ZOVApplicationServer::stopAppServer(const RWCString& arguments) {
  ZOV_TRACE(Public);
  constexpr const char* Separators = " \t\n";
  ZOVQuotedStringParser parser(arguments, '\'');
  int done = 0;
  const RWCString user = parser.next(done, Separators);
  const RWCString password = parser.next(done, Separators);
  if (user.isNull() || password.isNull()) return queueCommand("stopServer", {}, {});
  return queueCommand("stopServer", {"-user", user, "-password", password}, password);
}
