#include "server/application_server.h"

#include <algorithm>

#include "config/server_config_parms.h"
#include "diag/agent_log.h"
#include "diag/quoted_string_parser.h"
#include "runtime/recovery.h"
#include "runtime/trace_scope.h"
#include "transport/session_listener.h"

static DGT1_Unit traceUnit("ZOVASRVR");

namespace {

constexpr const char* FileEncodingProperty = "file.encoding";

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

}  // namespace

std::shared_ptr<ZOVApplicationServer> ZOVApplicationServer::buildNew(
    const zov::ServerDescription& description, ZOVReturnCode& rc) {
  ZOV_TRACE(Public);
  rc = ZOV_NO_SUCH_SERVER;
  if (description.name.isNull()) return nullptr;
  const auto destroy = [](ZOVApplicationServer* server) {
    if (server->stopThreads()) {
      delete server;
      return;
    }
    DGT1_Printf(traceUnit, DGT1_ERROR, "A thread of application server %s could not be stopped; it is kept",
                server->getName().data());
  };
  std::shared_ptr<ZOVApplicationServer> server(new ZOVApplicationServer(description, true), destroy);
  rc = server->init(description.status, 0, {}, {}, -1);
  if (rc != 0) return nullptr;
  return server;
}

ZOVApplicationServer::~ZOVApplicationServer() {
  ZOV_TRACE(Public);
  stopThreads();
  // A session may have begun while the server was being removed; its collector finds the agent again.
  if (ZOVProfilerSocketMonitor* const monitor = ZOVProfilerSocketMonitor::pMonitor; monitor && _socket) {
    monitor->deleteSocket(_socket.get());
  }
  std::unique_ptr<ZOVServerLogFile> follower;
  ZOVLockScope scope(_logFileLock, Exclusive);
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

// --- Environment variables and Java properties.

void ZOVApplicationServer::addEnvVariableFromSample(const ZOVSample& sample) {
  ZOV_TRACE(Minor);
  const auto& pair = static_cast<const ZOVTSLKeyValueSample&>(sample);
  const ZOVEnvVariableSample variable(pair.name, pair.value, ZOVEnvVariableSample::VariableCollector);
  ZOVLockScope scope(_envVariablesLock, Exclusive);
  const auto same = [&](const ZOVEnvVariableSample& known) { return known.isEqual(&variable); };
  if (_envVariables.size() < MaximumVariables &&
      std::none_of(_envVariables.begin(), _envVariables.end(), same)) {
    _envVariables.push_back(variable);
  }
}

void ZOVApplicationServer::addJVMPropertyFromSample(const ZOVSample& sample) {
  ZOV_TRACE(Minor);
  const auto& pair = static_cast<const ZOVTSLKeyValueSample&>(sample);
  DGT1_Printf(traceUnit, DGT1_DETAIL, "\nJava Property %s = %s", pair.name.data(), pair.value.data());
  const ZOVTSLJavaProperty property(pair.name, pair.value);
  ZOVLockScope scope(_jvmPropertiesLock, Exclusive);
  std::erase_if(_jvmProperties, [&](const ZOVTSLJavaProperty& known) { return known.getKey() == pair.name; });
  if (_jvmProperties.size() < MaximumVariables) _jvmProperties.push_back(property);
}

void ZOVApplicationServer::processJVMPropertiesFromSample() {
  ZOV_TRACE(Private);
  RWCString encoding;
  if (!findJavaProperty(FileEncodingProperty, encoding)) return;
  if (setEncoding(encoding.view())) ZOVServerServices::current().rewriteContextInfo();
}

void ZOVApplicationServer::clearEnvVariables() {
  ZOVLockScope scope(_envVariablesLock, Exclusive);
  _envVariables.clear();
}

void ZOVApplicationServer::clearJVMProperties() {
  ZOVLockScope scope(_jvmPropertiesLock, Exclusive);
  _jvmProperties.clear();
}

bool ZOVApplicationServer::findEnvVariable(const char* name, ZOVEnvVariableSample::_VariableType type,
                                           RWCString& value) const {
  ZOV_TRACE(Restricted);
  ZOVLockScope scope(_envVariablesLock, Shared);
  for (const ZOVEnvVariableSample& variable : _envVariables) {
    if (variable.getKey() != name) continue;
    if (type != ZOVEnvVariableSample::VariableAny && variable.getVariableType() != type) continue;
    value = variable.getValue();
    return true;
  }
  return false;
}

bool ZOVApplicationServer::findJavaProperty(const char* name, RWCString& value) const {
  ZOV_TRACE(Restricted);
  ZOVLockScope scope(_jvmPropertiesLock, Shared);
  for (const ZOVTSLJavaProperty& property : _jvmProperties) {
    if (property.getKey() != name) continue;
    value = property.getValue();
    DGT1_Printf(traceUnit, DGT1_DETAIL, "Java property %s name=%s, value=%s", name, property.getKey().data(),
                value.data());
    return true;
  }
  DGT1_Printf(traceUnit, DGT1_DETAIL, "Java property %s not found, no property returned", name);
  return false;
}

// --- Log files.

void ZOVApplicationServer::setLogFile(std::string_view text) {
  ZOV_TRACE(Public);
  if (text.empty()) return;
  const RWCString name(text);
  holding(_logFileLock, Exclusive, [&] {
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
  holding(_logFileLock, Shared, [&] {
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
  mCollectingRequestData = 0;
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
