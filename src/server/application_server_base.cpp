#include "server/application_server_base.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "config/node_names.h"
#include "config/server_config_parms.h"
#include "diag/agent_log.h"
#include "diag/utf8_handler.h"
#include "runtime/environment.h"
#include "runtime/time.h"
#include "runtime/trace_scope.h"
#include "server/server_services.h"
#include "transport/poll_request.h"

static DGT1_Unit traceUnit("ZOVASBAS");

namespace {
constexpr const char* StatusTexts[] = {"Disconnected", "Connected"};
constexpr std::string_view Uniquifiers = "ABCDEFGHIJKLMNOPQRSTUVWXYZ";

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
      _owner(description.owner),
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
    _excludedFromMonitoring = true;
    return 0;
  }
  ZOVServerServices& services = ZOVServerServices::current();
  _configParms = services.getConfigParms(getName().data(), _serverRootDirectory.data());
  if (const ZOVReturnCode rc = buildSubnodeName()) return rc;
  _settings = zov::ServerSettings::read(_configParms, services.getConfigParms(), getName());
  _session.switches().configure();
  _statistics.setSuspended(!_settings.resourceCollectEnabled);
  registerSubNode();  // a subnode that the framework refuses costs its queries, not the server
  if (status == ServerConnected && _startMonitorOnConnect) startProfilerMonitorThread();
  if (status == ServerConnected && isPSISupported()) _statistics.start();
  return 0;
}

void ZOVApplicationServerBase::reconfigure() {
  ZOV_TRACE(Public);
  if (_appServerType != MonitoredServer) return;
  ZOVServerServices& services = ZOVServerServices::current();
  _configParms = services.getConfigParms(getName().data(), _serverRootDirectory.data());
  const zov::ServerSettings fresh =
      zov::ServerSettings::read(_configParms, services.getConfigParms(), getName());
  const auto switches = [](const zov::LiveSettings& settings) {
    return std::array<int, 4>{settings.workloadCollectLevel, settings.workloadCapturePercent,
                              settings.gcCollectAction, settings.gcCollectInterval};
  };
  // What was switched by an action stays, as long as the file says nothing new of it.
  if (switches(fresh) != switches(_settings)) _session.switches().reconfigure();
  const bool statisticsSwitched = fresh.resourceCollectEnabled != _settings.resourceCollectEnabled;
  static_cast<zov::LiveSettings&>(_settings) = fresh;
  if (statisticsSwitched) _statistics.setSuspended(!fresh.resourceCollectEnabled);
  if (_status == ServerConnected && isPSISupported()) _statistics.start();
  wakeupBackgroundProfilerMonitor();
}

ZOVReturnCode ZOVApplicationServerBase::admit(const zov::Peer& peer) const {
  ZOV_FUNCTION;
  const std::optional<uid_t> known = getOwner();
  if (!known || zov::ServerOwner(known).admits(peer)) return ZOV_OK;
  ZOV_LOG_ERROR(ZOVA0170E, getName(), peer.text().c_str(), std::to_string(*known).c_str());
  return ZOV_PING_NOT_EXPECTED;
}

/// By its name and root; the defaults of all servers have no root.
bool ZOVApplicationServerBase::isNamedByConfiguration() const {
  const ZOVAppServerConfigParms* const parms = _configParms;
  return parms && !parms->getServerRoot().isNull() && parms->getName() == getName() &&
         parms->getServerRoot() == _serverRootDirectory;
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

bool ZOVApplicationServerBase::setStatus(_AppServerStatus status) {
  ZOV_TRACE(Public);
  if (_status.exchange(status) == status) return false;
  if (status != ServerConnected) {
    ZOV_LOG_MESSAGE(ZOVA0018I, getName());
    setAppServerStartTime(0);
    _session.end();
    _anchors.markLogicallyDeleted();
  } else if (!_excludedFromMonitoring) {
    ZOV_LOG_MESSAGE(ZOVA0017I, getName());
    if (_startMonitorOnConnect) startProfilerMonitorThread();
  }
  return true;
}

void ZOVApplicationServerBase::setAppServerStartTime(long long milliseconds) {
  ZOV_TRACE(Restricted);
  _startTime = milliseconds == 0 ? -1 : milliseconds;
  ZOVTime time;
  if (_startTime != -1) time.convertFromJavaTime(_startTime);
  const RWCString text = time.seconds() == 0 ? RWCString(" ") : time.asString();
  _formattedStartTime.set(text.view());
}

void ZOVApplicationServerBase::getFormattedAppServerStartTime(char* buffer, int size) const {
  if (size <= 0) return;
  const RWCString text = ZOVUTF8Handler::createFromLocalString(_formattedStartTime.get().data());
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
  } else {
    _dcProbeManagerProcessId = id;
    setPendingDCInstanceId(id);
  }
  if (isDCInstancePending()) bindPendingDCInstance();
}

/// A new collector instance leaves nothing of the one before it.
void ZOVApplicationServerBase::bindPendingDCInstance() {
  if (getCurrentDCInstanceId() != 0) {
    terminateCurrentDCInstance();
  } else {
    DGT1_Printf(traceUnit, DGT1_DETAIL, "Binding initial DC session. Pending DC InstanceID: %d",
                getPendingDCInstanceId());
  }
  setCurrentDCInstanceId();
}

void ZOVApplicationServerBase::terminateCurrentDCInstance() {
  DGT1_Printf(traceUnit, DGT1_DETAIL, "Terminating current DC session. DC InstanceID: %d",
              getCurrentDCInstanceId());
  _session.switches().startedCollectingRequestData(false);
  _session.switches().startedCollectingGCData(false);
  _session.end();
  _anchors.markLogicallyDeleted();
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
  if (const ZOVAppServerConfigParms* const parms = _configParms;
      parms && alias != parms->getSubnodeAliasName()) {
    alias = parms->getSubnodeAliasName();
    name.clear();
  }
  if (name.isNull()) name = makeSubnodeName(alias);
  _aliasName.set(alias.view());
  _subnodeName.set(name.view());
  _subnodeNameUTF8.set(ZOVUTF8Handler::createFromLocalString(name.data()).view());
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
  _subnodeRegistered = true;
  return 0;
}

ZOVReturnCode ZOVApplicationServerBase::deRegisterSubNode() {
  ZOV_TRACE(Public);
  if (_status == ServerConnected) return ZOV_SERVER_NOT_STOPPED;
  if (ZOVServerServices::current().deregisterSubnode(getSubnodeName().data()) != 0) {
    return ZOV_SUBNODE_REGISTRATION;
  }
  _subnodeRegistered = false;
  return 0;
}

RWCString ZOVApplicationServerBase::getGCLogFileInForce() const {
  const RWCString verbose = getVerboseGCLogFileName();
  return verbose.isNull() ? getErrLogFileName() : verbose;
}

// --- Collection.

bool ZOVApplicationServerBase::isObtainedFromProfiler(ZOVSample::_SampleType type) {
  const ZOVSample::_DataSource source = ZOVSample::getDataSource(type);
  return source == ZOVSample::DataSourceProfiler || source == ZOVSample::DataSourceWorkload ||
         source == ZOVSample::DataSourceVerboseGC;
}

bool ZOVApplicationServerBase::collectOnDemandOnly(ZOVSample::_SampleType type) {
  return ZOVPollRequest::collectOnDemandOnly(type);
}

bool ZOVApplicationServerBase::runningBackgroundCollection(ZOVSample::_SampleType type) const {
  if (collectOnDemandOnly(type)) return false;
  return isObtainedFromProfiler(type) ? runningBackgroundProfilerCollection()
                                      : runningBackgroundRPXCollection();
}

ZOVReturnCode ZOVApplicationServerBase::takeSample(const ZOVResourceAnchor& anchor,
                                                   const ZOVGivenUp& givenUp) {
  ZOV_TRACE(Public);
  if (_excludedFromMonitoring) return ZOV_SERVER_EXCLUDED;
  if (_status != ServerConnected) return ZOV_OK;
  const ZOVSample::_SampleType type = anchor.getSampleType();
  if (_anchors.getMinSamplingInterval(type) == 0) {
    return isObtainedFromProfiler(type) ? getOnDemandProfilerSamples(anchor, givenUp)
                                        : takeSampleFromRPX(anchor);
  }
  if (_anchors.findCachedRequest(anchor)) return ZOV_OK;
  return isObtainedFromProfiler(type)
             ? _monitor.submit(std::make_shared<CollectUnlessRecentRequest>(&anchor), givenUp)
             : _statistics.takeUnlessRecent(anchor);
}

ZOVReturnCode ZOVApplicationServerBase::getOnDemandProfilerSamples(const ZOVResourceAnchor& anchor,
                                                                   const ZOVGivenUp& givenUp) {
  return _monitor.submit(std::make_shared<CollectProfilerSampleRequest>(&anchor), givenUp);
}

void ZOVApplicationServerBase::fetchMessages() {
  ZOV_TRACE(Public);
  if (_excludedFromMonitoring || _status != ServerConnected) return;
  const ZOVMessagesAnchor anchor;
  if (_anchors.getMinSamplingInterval(anchor.getSampleType()) != 0 && _anchors.findCachedRequest(anchor))
    return;
  const zov::MutexLock lock(_messagesMutex);
  if (!_messagesRequest.expired()) return;
  const auto request = std::make_shared<CollectUnlessRecentRequest>(&anchor);
  _messagesRequest = request;
  _monitor.offer(request);
}

ZOVReturnCode ZOVApplicationServerBase::requestTestConnectivity() {
  return _monitor.submit(std::make_shared<TestConnectionRequest>());
}

void ZOVApplicationServerBase::offerConnectivityTest() {
  _monitor.offer(std::make_shared<TestConnectionRequest>());
}

// --- Threads.

void ZOVApplicationServerBase::requestThreadsToStop() {
  ZOV_TRACE(Restricted);
  _monitor.thread().requestEnd();
  _statistics.thread().requestEnd();
  _session.interrupt();
  _statistics.interrupt();
}

bool ZOVApplicationServerBase::stopThreads() {
  ZOV_TRACE(Restricted);
  requestThreadsToStop();
  const bool monitorEnded = _monitor.thread().end();
  return _statistics.thread().end() && monitorEnded;
}

bool ZOVApplicationServerBase::threadsHaveEnded() const {
  return _monitor.thread().hasEnded() && _statistics.thread().hasEnded();
}
