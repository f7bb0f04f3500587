#include "server/application_server.h"

#include "diag/quoted_string_parser.h"
#include "runtime/recovery.h"
#include "runtime/trace_scope.h"
#include "transport/ping_request.h"

static DGT1_Unit traceUnit("ZOVASRVR");

namespace {

/// A word of a shell command. Names come from collectors, so what is more than a plain word is quoted.
RWCString shellWord(const RWCString& text) {
  constexpr std::string_view Plain =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_./:@%+=,-";
  if (!text.isNull() && text.view().find_first_not_of(Plain) == std::string_view::npos) return text;
  RWCString quoted("'");
  for (const char c : text.view()) {
    if (c == '\'') {
      quoted.append("'\\''");
    } else {
      quoted.append(c);
    }
  }
  return quoted.append('\'');
}

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
  std::unique_ptr<ZOVServerLogFile> follower;
  const zov::ExclusiveLock lock(_logFileLock);
  follower.swap(_logFileFollower);
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

ZOVReturnCode ZOVApplicationServer::isThisYourPing(const ZOVPingRequest& ping) {
  ZOV_TRACE(Public);
  if (ping.getAppServerName() != getName() || ping.getServerRootDirectory() != getServerRootDirectory()) {
    return ZOV_NOT_MATCHING_PING;
  }
  if (!isConnectedWithProfiler()) return ZOV_OK;
  return requestTestConnectivity() == ZOV_OK ? ZOV_PING_NOT_EXPECTED : ZOV_OK;
}

bool ZOVApplicationServer::foundProfiler(const std::shared_ptr<ZOVSocketConnection>& socket,
                                         const ZOVPingRequest& ping) {
  ZOV_TRACE(Public);
  if (isExcludedFromMonitoring()) return false;
  session().begin(socket, ping);
  if (CollectingRequestData()) getOnDemandProfilerSamples(ZOVResourceAnchor(EverythingSampleType));
  statistics().sessionBegan();
  return true;
}

// --- Log files.

void ZOVApplicationServer::setLogFile(std::string_view text) {
  ZOV_TRACE(Public);
  if (text.empty()) return;
  const RWCString name(text);
  holding(_logFileLock, Exclusive, [&]() ZOV_REQUIRES(_logFileLock) {
    if (_logFileFollower && _logFileFollower->isNamed(name.data())) return;
    _logFileFollower.reset();
    _logFileFollower = ZOVServerServices::current().followLogFile(name.data(), settings().logScanInterval,
                                                                  settings().retainLogFileEvents, this);
  });
  ZOVApplicationServerBase::setLogFile(text);
}

bool ZOVApplicationServer::setVerboseGCLogFile(std::string_view text) {
  ZOV_TRACE(Public);
  if (!ZOVApplicationServerBase::setVerboseGCLogFile(text)) return false;
  if (isConnectedWithProfiler()) startDefaultGCCollection();
  return true;
}

void ZOVApplicationServer::returnLogFileSamples(ZOVSampleCallback callback, ZOVSampleCallbackParms* parms) {
  ZOV_TRACE(Public);
  holding(_logFileLock, Shared, [&]() ZOV_REQUIRES_SHARED(_logFileLock) {
    if (_logFileFollower) _logFileFollower->returnSamples(callback, parms, this);
  });
}

// --- Commands.

RWCString ZOVApplicationServer::commandArgument() const {
  RWCString name = getName();
  if (beginsWith(getPlatform(), "tsl6") || beginsWith(getPlatform(), "bsp6")) {
    if (const std::size_t bracket = name.first('('); bracket != RW_NPOS) name.remove(bracket);
  }
  return shellWord(name);
}

void ZOVApplicationServer::queueCommand(const char* script, const RWCString& arguments) {
  const RWCString directory = getServerRootDirectory() + "/bin";
  ZOVServerServices::current().queueSystemCommand(shellWord(directory), RWCString(script) + ".sh", arguments);
  startedCollectingRequestData(false);
}

ZOVReturnCode ZOVApplicationServer::startAppServer(const RWCString&) {
  ZOV_TRACE(Public);
  queueCommand("startServer", commandArgument());
  return ZOV_COMMAND_QUEUED;
}

ZOVReturnCode ZOVApplicationServer::stopAppServer(const RWCString& arguments) {
  ZOV_TRACE(Public);
  constexpr const char* Separators = " \t\n";
  ZOVQuotedStringParser parser(arguments, '\'');
  int done = 0;
  const RWCString user = parser.next(done, Separators);
  const RWCString password = parser.next(done, Separators);
  RWCString argument = commandArgument();
  if (!user.isNull() && !password.isNull()) {
    argument += " -user " + shellWord(user) + " -password " + shellWord(password);
  }
  queueCommand("stopServer", argument);
  return ZOV_COMMAND_QUEUED;
}
