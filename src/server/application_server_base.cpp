#include "server/application_server_base.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "config/agent_config_parms.h"
#include "config/node_names.h"
#include "config/server_config_parms.h"
#include "diag/agent_log.h"
#include "diag/utf8_handler.h"
#include "runtime/environment.h"
#include "runtime/recovery.h"
#include "runtime/time.h"
#include "runtime/trace_scope.h"
#include "runtime/waits.h"
#include "server/server_services.h"

static DGT1_Unit traceUnit("ZOVASBAS");

namespace {
constexpr const char* StatusTexts[] = {"Disconnected", "Connected"};
constexpr std::string_view Uniquifiers = "ABCDEFGHIJKLMNOPQRSTUVWXYZ";
constexpr int MaximumAge = 600;          // seconds that samples may stay fresh
constexpr int MaximumInterval = 999999;  // seconds between collections
constexpr int ByInterval = 2;            // a collect action

RWCString toSingleByte(const RWCString& text) {
  return ZOVUTF8Handler(text).convertToSBLocalString(ZOVUTF8Handler::defaultMBSubstituteString.data());
}
}  // namespace

ZOVApplicationServerBase::ZOVApplicationServerBase(const zov::ServerDescription& description,
                                                   bool startMonitorOnConnect)
    : ZOVAppServerAnchor(description.name),
      _serverRootDirectory(description.rootDirectory),
      _workingDirectory(description.workingDirectory),
      _platform(description.platform),
      _occurrence(description.occurrence),
      _appServerType(description.type),
      _startMonitorOnConnect(startMonitorOnConnect),
      _aliasName(description.subnodeAlias),
      _localeName(description.locale),
      _encoding(description.encoding),
      _subnodeName(toSingleByte(description.subnode)),
      _subnodeNameUTF8(description.subnode) {}

ZOVApplicationServerBase::~ZOVApplicationServerBase() = default;

bool ZOVApplicationServerBase::isEqual(const RWCollectable* other) const {
  if (other == this) return true;
  if (!other || other->isA() != classIsA()) return false;
  const auto* server = static_cast<const ZOVApplicationServerBase*>(other);
  return getSampleType() == server->getSampleType() && getName() == server->getName() &&
         _serverRootDirectory == server->_serverRootDirectory && _occurrence == server->_occurrence;
}

ZOVReturnCode ZOVApplicationServerBase::init(_AppServerStatus status) {
  ZOV_TRACE(Public);
  _status = status;
  if (_appServerType != MonitoredServer) {
    _excludedFromMonitoring = 1;
    return 0;
  }
  ZOVServerServices& services = ZOVServerServices::current();
  _configParms = services.getConfigParms(getName().data(), _serverRootDirectory.data());
  if (const ZOVReturnCode rc = buildSubnodeName()) return rc;
  if (const ZOVAgentConfigParms* agent = services.getConfigParms()) {
    _socketReceiveTimeout = agent->getSocketReceiveTimeout();
  }
  if (_configParms) readConfiguration();
  registerSubNode();  // a subnode that the framework refuses costs its queries, not the server
  if (status == ServerConnected && _startMonitorOnConnect) startProfilerMonitorThread();
  if (isPSISupported() && _resourcePollFrequency != 0) startRPXMonitorThread();
  return 0;
}

void ZOVApplicationServerBase::readConfiguration() {
  ZOV_TRACE(Private);
  const ZOVAppServerConfigParms& parms = *_configParms;
  _historicalCollection = parms.getHistoricalCollectionFlag();
  _requestCollectAction = parms.getRequestCollectAction();
  // The message of the two ages speaks of another parameter; readers of the log know it so.
  _requestCollectAgeMax = validateConfigValue(parms.getRequestCollectAgeMax(), 0, MaximumAge, ZOVA0039E, 0);
  _resourceCollectAgeMax = validateConfigValue(parms.getResourceCollectAgeMax(), 0, MaximumAge, ZOVA0039E, 0);
  if (_requestCollectAction == ByInterval) {
    _pollInterval =
        validateConfigValue(parms.getRequestCollectPollFrequency(), 0, MaximumInterval, ZOVA0036W, 0);
  }
  _resourceCollectAction = parms.getResourceCollectAction();
  if (_resourceCollectAction == ByInterval) {
    _resourcePollFrequency =
        validateConfigValue(parms.getResourceCollectPollFrequency(), 0, MaximumInterval, ZOVA0034W, 0);
  }
  _gcCollectAction = parms.getGCCollectAction();
  _gcCollectInterval = parms.getGCCollectPollFrequency();
  _workloadCollectLevel = parms.getWorkloadCollectLevel();
  _workloadCapturePercent = parms.getWorkloadCapturePercent();
}

int ZOVApplicationServerBase::validateConfigValue(int value, int minimum, int maximum, int message,
                                                  int defaultValue) const {
  ZOV_FUNCTION;
  if (value >= minimum && value <= maximum) return value;
  ZOV_LOG_ERROR(message, value, getName(), defaultValue);
  return defaultValue;
}

// --- Texts.

bool ZOVApplicationServerBase::setText(RWCString& member, const char* text) {
  ZOVLockScope scope(_lock, Exclusive);
  if (member == text) return false;
  member = text;
  return true;
}

RWCString ZOVApplicationServerBase::copyText(const RWCString& member) const {
  ZOVLockScope scope(_lock, Shared);
  return member;
}

RWCString ZOVApplicationServerBase::getStatusText() const {
  const int status = _status;
  ZOVAgentEnvironment* const environment = ZOVAgentEnvironment::pEnvironment;
  if (!environment) return StatusTexts[status];
  char text[64] = "";
  char localText[64] = "";
  environment->services().retrieveString(text, localText, sizeof text, StatusTexts, "ZOVT", status);
  return text[0] ? text : StatusTexts[status];
}

// --- Status and start time.

int ZOVApplicationServerBase::setStatus(_AppServerStatus status) {
  ZOV_TRACE(Public);
  if (_status.exchange(status) == status) return 0;
  if (status != ServerConnected) {
    ZOV_LOG_MESSAGE(ZOVA0018I, getName());
    setAppServerStartTime(0);
    shutdownSocket();
    markAllSourcesLogicallyDeleted();
  } else if (!_excludedFromMonitoring) {
    ZOV_LOG_MESSAGE(ZOVA0017I, getName());
    if (_startMonitorOnConnect) startProfilerMonitorThread();
  }
  return 1;
}

void ZOVApplicationServerBase::setAppServerStartTime(long long milliseconds) {
  ZOV_TRACE(Restricted);
  _startTime = milliseconds == 0 ? -1 : milliseconds;
  ZOVTime time;
  if (_startTime != -1) time.convertFromJavaTime(_startTime);
  const RWCString text = time.seconds() == 0 ? RWCString(" ") : time.asString();
  ZOVLockScope scope(_lock, Exclusive);
  const std::size_t length = std::min(text.length(), sizeof _formattedStartTime - 1);
  std::memcpy(_formattedStartTime, text.data(), length);
  _formattedStartTime[length] = '\0';
}

void ZOVApplicationServerBase::getFormattedAppServerStartTime(char* buffer, int size) const {
  if (size <= 0) return;
  char local[sizeof _formattedStartTime];
  {
    ZOVLockScope scope(_lock, Shared);
    std::memcpy(local, _formattedStartTime, sizeof local);
  }
  const RWCString text = ZOVUTF8Handler::createFromLocalString(local);
  const std::string_view kept =
      ZOVUTF8Handler::truncated(text.view(), static_cast<std::size_t>(size) - 1, ZOVUTF8Handler::TruncateEnd);
  std::memcpy(buffer, kept.data(), kept.size());
  buffer[kept.size()] = '\0';
}

// --- Collector instances.

void ZOVApplicationServerBase::setDCProbeManagerProcessId(unsigned int id) {
  ZOV_TRACE(Restricted);
  if (id == 0) {
    DGT1_Printf(traceUnit, DGT1_DETAIL, "Ignoring invalid input ProbeManager ProcessID: %d", id);
    return;
  }
  _dcProbeManagerProcessId = id;
}

void ZOVApplicationServerBase::setDCResourceManagerProcessId(unsigned int id) {
  ZOV_TRACE(Restricted);
  if (id == 0) {
    DGT1_Printf(traceUnit, DGT1_DETAIL, "Ignoring invalid input ResourceManager ProcessID: %d", id);
    return;
  }
  _dcResourceManagerProcessId = id;
}

void ZOVApplicationServerBase::setPendingDCInstanceId(unsigned int id) {
  if (id != 0) _pendingDCInstanceId = id;
}

void ZOVApplicationServerBase::setCurrentDCInstanceId() {
  ZOV_TRACE(Restricted);
  const unsigned int pending = _pendingDCInstanceId;
  if (pending == 0) {
    DGT1_Printf(traceUnit, DGT1_DETAIL, "DCPendingInstanceID undefined or invalid: %i", pending);
    return;
  }
  if (_currentDCInstanceId.exchange(pending) == pending) {
    DGT1_Printf(traceUnit, DGT1_DETAIL, "Pending and Current DC InstanceID are same: %d", pending);
  }
  resetPendingDCInstanceId();
}

// --- Subnode.

ZOVReturnCode ZOVApplicationServerBase::buildSubnodeName() {
  ZOV_TRACE(Public);
  RWCString alias = getAliasName();
  RWCString name = getSubnodeName();
  if (_configParms && alias != _configParms->getSubnodeAliasName()) {
    alias = _configParms->getSubnodeAliasName();
    name.clear();
  }
  if (name.isNull()) name = makeSubnodeName(alias);
  const RWCString nameUTF8 = ZOVUTF8Handler::createFromLocalString(name.data());
  ZOVLockScope scope(_lock, Exclusive);
  _aliasName = alias;
  _subnodeName = name;
  _subnodeNameUTF8 = nameUTF8;
  return name.isNull() ? ZOV_SUBNODE_NOT_UNIQUE : ZOV_OK;
}

/// Empty when no name is left. The candidates are the name alone, the name with each letter, and the name
/// with a bare point: 28 in all.
RWCString ZOVApplicationServerBase::makeSubnodeName(const RWCString& alias) {
  ZOV_TRACE(Private);
  ZOVServerServices& services = ZOVServerServices::current();
  RWCString host = services.getSubsystemId();
  if (host.isNull()) host = toSingleByte(services.getCurrentSystemName());
  RWCString base = alias;
  if (base.isNull()) base = ZOVUTF8Handler(getName()).containsDBCharacters() ? _platform : getName();
  base = toSingleByte(base);
  RWCString candidate = ZOVNodeNames::assembleSubnodeName(base, host);
  for (std::size_t uniquifier = 0; !services.isSubNodeNameUnique(candidate.data()); ++uniquifier) {
    if (uniquifier > Uniquifiers.size()) return {};
    RWCString part = base + ".";
    if (uniquifier < Uniquifiers.size()) part.append(Uniquifiers[uniquifier]);
    candidate = ZOVNodeNames::assembleSubnodeName(part, host);
  }
  return candidate;
}

ZOVReturnCode ZOVApplicationServerBase::registerSubNode() {
  ZOV_TRACE(Public);
  if (getSubnodeName().isNull()) {
    if (const ZOVReturnCode rc = buildSubnodeName()) return rc;
  }
  RWCString affinity(getSubnodeAffinity());
  affinity.resize(SubnodeAffinityLength);
  if (ZOVServerServices::current().registerSubnode(getSubnodeName().data(), affinity.data()) != 0) {
    return ZOV_SUBNODE_REGISTRATION;
  }
  _subnodeRegistered = 1;
  return 0;
}

ZOVReturnCode ZOVApplicationServerBase::deRegisterSubNode() {
  ZOV_TRACE(Public);
  if (_status == ServerConnected) return ZOV_SERVER_NOT_STOPPED;
  if (ZOVServerServices::current().deregisterSubnode(getSubnodeName().data()) != 0) {
    return ZOV_SUBNODE_REGISTRATION;
  }
  _subnodeRegistered = 0;
  return 0;
}

// --- Threads. A thread is made under the lock and started, waited for and destroyed outside of it.

void ZOVApplicationServerBase::startThread(std::shared_ptr<ZOVRecoverableThread>& thread,
                                           std::atomic<int>& running, std::atomic<int>& stop,
                                           ZOVEvent& wakeup, ZOVEvent& stopped,
                                           int (*entry)(void*, ZOVThread*)) {
  constexpr unsigned int StackSize = 0x100000;
  std::shared_ptr<ZOVRecoverableThread> former;
  std::shared_ptr<ZOVRecoverableThread> made;
  {
    ZOVLockScope scope(_lock, Exclusive);
    if (running) {
      wakeup.post();
      return;
    }
    made = std::make_shared<ZOVRecoverableThread>(entry, this, 0, StackSize);
    former = std::exchange(thread, made);
    stop = 0;
    running = 1;
  }
  former.reset();  // waits for the last steps of a thread that has said that it ended
  if (made->start(nullptr)) return;
  running = 0;
  stopped.post();
}

bool ZOVApplicationServerBase::waitUntilStopped(const std::atomic<int>& running, ZOVEvent& stopped,
                                                long seconds) {
  for (; running; --seconds) {
    if (seconds <= 0) return false;
    stopped.waitWithTimeout(1);
  }
  stopped.post();  // for a second waiter
  return true;
}

bool ZOVApplicationServerBase::stopThread(std::shared_ptr<ZOVRecoverableThread>& thread,
                                          const std::atomic<int>& running, ZOVEvent& stopped) {
  ZOV_TRACE(Private);
  if (!thread) return true;
  if (thread->isThisCurrentThread()) return false;
  if (!waitUntilStopped(running, stopped, zovWaits().threadStopSeconds)) {
    ZOVLockScope scope(_lock, Exclusive);
    thread->kill();
    return false;  // nobody can tell what a killed thread still uses
  }
  thread.reset();  // waits for its last steps
  return true;
}

/// Behind a turn that failed its thread holds no lock by right: one that it still has was lost in a raise.
void ZOVApplicationServerBase::releaseLocksOfTurn() {
  if (ZOVRecoverableThread* const thread = ZOVAgentEnvironment::getActiveThread()) thread->freeAllLocks();
}

void ZOVApplicationServerBase::requestThreadsToStop() {
  ZOV_TRACE(Restricted);
  {
    ZOVLockScope scope(_lock, Exclusive);
    _stopProfilerMonitor = 1;
    _stopRPXMonitor = 1;
    _profilerMonitorWakeup.post();
    _rpxMonitorWakeup.post();
  }
  interruptSocket();
}

bool ZOVApplicationServerBase::stopThreads() {
  ZOV_TRACE(Restricted);
  requestThreadsToStop();
  const bool monitorStopped =
      stopThread(_profilerMonitorThread, _profilerMonitorRunning, _profilerMonitorStopped);
  return stopThread(_rpxMonitorThread, _rpxMonitorRunning, _rpxMonitorStopped) && monitorStopped;
}
