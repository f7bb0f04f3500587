#pragma once
// ZOVApplicationServerBase: the agent's record of one monitored server, and the face of its parts. Who it is,
// whether it is connected, how it is configured and by which subnode it is known stand here; the rest is
// asked of the parts: anchors, collector monitor, collector session, statistics. It is itself the anchor of
// its own sample (type 1). ZOVApplicationServer is the one concrete class.
//
// Ownership: the application context holds servers by shared_ptr, and whoever uses one across a wait holds a
// shared_ptr too. The context stops a server's threads when it lets go of it, so that the last owner never
// has to.
//
// Locks, in their order: context; the statistics' "RPXLock", the session's "SocketLock"; the anchors'
// "AppServerLock". Each is a part's own. What stands here is constant, atomic, or a GuardedText; of texts
// getters give copies.
//
// Threads: any. The collector monitor and the statistics have a thread each, which never needs the context
// lock exclusively.
//
// An excluded server answers 35 to every collection. Return codes are those of return_codes.def.

#include <atomic>
#include <memory>

#include "samples/anchors.h"
#include "samples/sample.h"
#include "server/collector_monitor.h"
#include "server/collector_session.h"
#include "server/guarded_text.h"
#include "server/server_anchors.h"
#include "server/server_description.h"
#include "server/server_owner.h"
#include "server/server_settings.h"
#include "server/server_statistics.h"

class ZOVAppServerConfigParms;
class ZOVPollRequest;
class ZOVRequest;

class ZOVApplicationServerBase : public ZOVAppServerAnchor,
                                 public std::enable_shared_from_this<ZOVApplicationServerBase> {
 public:
  /// "No type in particular": the poll of the collector monitor.
  static constexpr ZOVSample::_SampleType EverythingSampleType = ZOVSample::SampleTypeRequestAndGC;
  /// As that, with the types that are polled on demand only.
  static constexpr auto EverySampleType = static_cast<ZOVSample::_SampleType>(999);
  static constexpr std::size_t SubnodeAffinityLength = 43;  ///< blank padded

  /// Its status is given to init. With `startMonitorOnConnect` the collector monitor starts when a collector
  /// has connected.
  ZOVApplicationServerBase(const zov::ServerDescription& description, bool startMonitorOnConnect);
  ~ZOVApplicationServerBase() override;

  RWClassID isA() const override { return classIsA(); }
  static RWClassID classIsA() { return 32759; }
  /// Same name, same root directory, same occurrence.
  bool isEqual(const RWCollectable* other) const override;
  ZOVResourceAnchor* clone() const override { return nullptr; }  ///< a server is never copied

  /// Reads the configuration, makes the subnode name, registers it and starts the threads that are wanted. A
  /// code other than 0 means that the server cannot be used.
  ZOVReturnCode init(_AppServerStatus status);

  // --- Identity. What does not change after construction is given by reference.
  const RWCString& getName() const { return getResourceName(); }
  const RWCString& getServerRootDirectory() const { return _serverRootDirectory; }
  const RWCString& getWorkingDirectory() const { return _workingDirectory; }
  const RWCString& getPlatform() const { return _platform; }
  int getOccurrence() const { return _occurrence; }
  int getAppServerType() const { return _appServerType; }
  RWCString getAliasName() const { return _aliasName.get(); }
  RWCString getLocaleName() const { return _localeName.get(); }
  RWCString getEncoding() const { return _encoding.get(); }
  RWCString getSubnodeName() const { return _subnodeName.get(); }          ///< local code page
  RWCString getSubnodeNameUTF8() const { return _subnodeNameUTF8.get(); }  ///< UTF-8
  RWCString getTSLNodeName() const { return _tslNodeName.get(); }
  RWCString getTSLCellName() const { return _tslCellName.get(); }
  RWCString getClusterName() const { return _clusterName.get(); }
  RWCString getLogFileName() const { return _logFile.get(); }
  RWCString getErrLogFileName() const { return _errLogFile.get(); }
  RWCString getVerboseGCLogFileName() const { return _verboseGCLogFile.get(); }
  RWCString getGCLogFileInForce()
      const;  ///< the verbose one, else the error log; empty when neither is known
  void setTSLNodeName(std::string_view text) { _tslNodeName.set(text); }
  void setTSLCellName(std::string_view text) { _tslCellName.set(text); }
  void setClusterName(std::string_view text) { _clusterName.set(text); }
  /// True when the text differs from what was kept.
  bool setLocaleName(std::string_view text) { return _localeName.set(text); }
  bool setEncoding(std::string_view text) { return _encoding.set(text); }
  virtual void setLogFile(std::string_view text) { _logFile.set(text); }
  void setErrLogFile(std::string_view text) { _errLogFile.set(text); }
  virtual bool setVerboseGCLogFile(std::string_view text) { return _verboseGCLogFile.set(text); }

  // --- Whom it belongs to.
  std::optional<uid_t> getOwner() const { return _owner.get(); }
  /// Whether the peer may bring this server, or its statistics JVM: 0, or 174, told by message ZOVA0170E.
  ZOVReturnCode admit(const zov::Peer& peer) const;
  /// Scripts of a server are run for an owner who is known, or when the configuration names the server.
  bool mayRunScripts() const { return _owner.get() || isNamedByConfiguration(); }

  // --- Status.
  _AppServerStatus getStatus() const { return _status; }
  RWCString getStatusText() const;  ///< in the reader's language, UTF-8
  /// True when the status changed. Ending a connection takes the collector's socket and marks what it told.
  bool setStatus(_AppServerStatus status);
  bool isExcludedFromMonitoring() const { return _excludedFromMonitoring; }
  bool isPSISupported() const { return _appServerType == MonitoredServer; }

  // --- Start time in Java milliseconds; -1 is unknown, and 0 sets that.
  void setAppServerStartTime(long long milliseconds);
  long long getAppServerStartTime() const { return _startTime; }
  /// UTF-8, "MM/DD/YYYY HH:MM:SS" in local time, or one blank; at most size - 1 bytes and a zero byte.
  void getFormattedAppServerStartTime(char* buffer, int size) const;

  // --- Collector instances are known by their process id; 0 is none and changes nothing.
  unsigned int getProcessId() const { return getDCProbeManagerProcessId(); }
  unsigned int getDCProbeManagerProcessId() const { return _dcProbeManagerProcessId; }
  unsigned int getDCResourceManagerProcessId() const { return _dcResourceManagerProcessId; }
  void setDCProbeManagerProcessId(unsigned int id);
  void setDCResourceManagerProcessId(unsigned int id);
  unsigned int getPendingDCInstanceId() const { return _pendingDCInstanceId; }
  unsigned int getCurrentDCInstanceId() const { return _currentDCInstanceId; }
  void setPendingDCInstanceId(unsigned int id);
  void setCurrentDCInstanceId();  ///< the pending instance becomes the current one
  void resetPendingDCInstanceId() { _pendingDCInstanceId = 0; }
  bool isDCInstancePending() const { return _pendingDCInstanceId != 0; }

  // --- Subnode.
  /// 0, or 175 when no name is left. Asks the other servers, so with no lock of this server held.
  ZOVReturnCode buildSubnodeName();
  ZOVReturnCode registerSubNode();    ///< 0, 36, or what buildSubnodeName says
  ZOVReturnCode deRegisterSubNode();  ///< 53 while connected, 36 when the framework refuses
  bool isSubnodeRegistered() const { return _subnodeRegistered; }
  virtual const char* getSubnodeAffinity() const = 0;

  // --- Configuration.
  /// Takes the live settings from the configuration that is in force now. One thread at a time, with none of
  /// the server's locks held.
  void reconfigure();
  ZOVAppServerConfigParms* getConfigParms() const { return _configParms; }
  const zov::ServerSettings& settings() const { return _settings; }
  int getRequestCollectLevel() const { return _session.switches().requestLevel(); }
  int getRequestCapturePercent() const { return _session.switches().requestPercent(); }
  int getPollInterval() const { return _settings.pollInterval; }
  long getSocketReceiveTimeout() const { return _settings.socketReceiveTimeout; }
  bool collectingHistoricalDataForSampleType(ZOVSample::_SampleType type) const {
    return _anchors.keepsHistoryOf(type);
  }

  // --- Anchors; server_anchors.h says what each does.
  int lock(_LockRequestType type, _WaitRequestType wait) const { return _anchors.lock(type, wait); }
  void release(_LockRequestType type) const { _anchors.release(type); }
  void saveSample(ZOVSample* sample, _SaveSampleType type, unsigned int collectionId) {
    _anchors.saveSample(sample, type, collectionId);
  }
  int getMinSamplingInterval(ZOVSample::_SampleType type) const {
    return _anchors.getMinSamplingInterval(type);
  }
  void markResourceAnchorsLogicallyDeleted(ZOVSample::_DataSource source) {
    _anchors.markLogicallyDeleted(source);
  }
  void removeObsoleteResourceAnchors(const ZOVResourceAnchor* wanted, unsigned int collectionId) {
    if (wanted) _anchors.markObsolete(*wanted, collectionId);
  }
  void removeObsoleteResourceAnchors(ZOVSample::_DataSource source, unsigned int collectionId) {
    _anchors.markObsolete(source, collectionId);
  }
  void removeObsoleteResourceAnchorsByTime(ZOVSample::_DataSource source) {
    _anchors.removeObsoleteByTime(source);
  }
  bool findCachedSampleRequest(const ZOVResourceAnchor& wanted) { return _anchors.findCachedRequest(wanted); }
  void defineCachedSampleRequest(const ZOVResourceAnchor& wanted) { _anchors.defineCachedRequest(wanted); }
  void forEachAnchor(ZOVSample::_SampleType type,
                     const std::function<void(const ZOVResourceAnchor&)>& visit) const {
    _anchors.forEachAnchor(type, visit);
  }
  void rollupTo(ZOVAppServerSample& serverSample) { _anchors.rollUpTo(serverSample); }
  using ZOVAppServerAnchor::returnSamples;
  ZOVReturnCode returnSamples(ZOVSampleCallback callback, ZOVSampleCallbackParms* parms,
                              const ZOVResourceAnchor& wanted, _SaveSampleType saveType) {
    if (_excludedFromMonitoring) return ZOV_SERVER_EXCLUDED;
    return _anchors.returnSamples(callback, parms, wanted, saveType);
  }

  // --- Collection.
  static bool isObtainedFromProfiler(ZOVSample::_SampleType type);
  static bool collectOnDemandOnly(ZOVSample::_SampleType type);
  bool runningBackgroundCollection(ZOVSample::_SampleType type) const;
  bool runningBackgroundProfilerCollection() const {
    return _monitor.isRunning() && _settings.pollInterval != 0;
  }
  bool runningBackgroundRPXCollection() const { return _statistics.isRunning(); }
  /// Takes fresh samples for a wanted anchor, unless recent ones serve. With no lock held. A wait for the
  /// collector that is given up answers ZOV_SOCKET_TIMED_OUT.
  ZOVReturnCode takeSample(const ZOVResourceAnchor& anchor, const ZOVGivenUp& givenUp = {});
  ZOVReturnCode getOnDemandProfilerSamples(const ZOVResourceAnchor& anchor, const ZOVGivenUp& givenUp = {});
  /// Has the collector's messages fetched, unless recent ones serve or they are being fetched. Does not wait.
  void fetchMessages();
  /// 0 when the present collector answered a ping.
  ZOVReturnCode requestTestConnectivity();
  void offerConnectivityTest();  ///< the same, without a wait for the answer
  ZOVReturnCode submitAsynchronousRequest(const std::shared_ptr<CollectProfilerSampleRequest>& request) {
    return _monitor.submit(request);
  }
  void startProfilerMonitorThread() { _monitor.start(); }
  void stopProfilerMonitorThread(bool force) { _monitor.stop(force); }
  void wakeupBackgroundProfilerMonitor() { _monitor.wake(); }

  ZOVReturnCode takeSampleFromRPX(const ZOVResourceAnchor& anchor) {
    return _excludedFromMonitoring ? ZOVReturnCode(ZOV_SERVER_EXCLUDED) : _statistics.take(anchor);
  }
  ZOVReturnCode suspendCollectingResourceData() { return _statistics.suspend(); }
  ZOVReturnCode resumeCollectingResourceData() { return _statistics.resume(); }
  void connectedWithResourceManager() { _statistics.connected(); }
  void disconnectedFromResourceManager() { _statistics.disconnected(); }
  bool isResourceDataCollected() const { return _statistics.isCollected(); }
  bool isResourceDataCollectionSuspended() const { return _statistics.isSuspended(); }
  void startRPXMonitorThread() { _statistics.start(); }
  void requestRPXMonitorThreadToStop() { _statistics.requestStop(); }
  void stopRPXMonitorThread() { _statistics.stop(); }
  void wakeupBackgroundRPXMonitor() { _statistics.thread().wake(); }

  // --- The end of both threads, for good. With no lock held that they could want.
  void requestThreadsToStop();  ///< waits for neither
  /// Waits for both: true when they have ended, false when one had to be killed.
  bool stopThreads();
  bool threadsHaveEnded() const;
  /// Wakes both threads and waits until they have done what was due. For tests.
  void settle() {
    _monitor.thread().settle();
    _statistics.thread().settle();
  }

  // --- The collector's session; collector_session.h and collection_switches.h say what each does.
  bool isConnectedWithProfiler() const { return _session.isConnected(); }
  ZOVReturnCode testConnectivity() { return _session.testConnectivity(); }
  void shutdownSocket() { _session.end(); }
  void interruptSocket() { _session.interrupt(); }
  void socketError(const ZOVReturnCode& code) { _session.socketError(code); }
  ZOVReturnCode sendProfilerCollectionRequest(const ZOVRequest& request, long long* value, RWCString* text) {
    return _session.send(request, value, text);
  }
  ZOVReturnCode sendInitProfilerCollectionRequest(const ZOVRequest& request, long long* value) {
    return _session.send(request, value, nullptr);
  }
  ZOVReturnCode takeSampleFromProfiler(const ZOVResourceAnchor& wanted) {
    return _session.takeSamples(wanted);
  }
  ZOVReturnCode obtainSamplesFromProfiler(const ZOVPollRequest& poll, const ZOVResourceAnchor& wanted) {
    return _session.obtainSamples(poll, wanted);
  }
  void convertAbbreviatedStringsInSample(ZOVSample& sample) const {
    _session.convertAbbreviatedStringsInSample(sample);
  }
  RWCString lookupAbbreviatedString(const RWCString& text, long long profilerId) const {
    return _session.lookupAbbreviatedString(text, profilerId);
  }
  bool findEnvVariable(std::string_view name, ZOVEnvVariableSample::_VariableType type,
                       RWCString& value) const {
    return _session.variables().findEnvVariable(name, type, value);
  }
  bool findJavaProperty(std::string_view name, RWCString& value) const {
    return _session.variables().findJavaProperty(name, value);
  }
  bool CollectingRequestData() const { return _session.switches().collectsRequests(); }
  bool collectingGCData() const { return _session.switches().collectsGC(); }
  void startedCollectingRequestData(bool collects) {
    _session.switches().startedCollectingRequestData(collects);
  }
  void startedCollectingGCData(bool collects) { _session.switches().startedCollectingGCData(collects); }
  ZOVReturnCode processCollectRequest(int level, int percent) {
    return _session.switches().processCollectRequest(level, percent);
  }
  ZOVReturnCode processGCCollectData(int action, int interval) {
    return _session.switches().processGCCollectData(action, interval);
  }
  ZOVReturnCode startDefaultRequestCollection() {
    return _session.switches().startDefaultRequestCollection();
  }
  ZOVReturnCode startDefaultGCCollection() { return _session.switches().startDefaultGCCollection(); }
  ZOVReturnCode suspendCollectingRequestData() { return processCollectRequest(0, -1); }
  ZOVReturnCode resumeCollectingRequestData(int level) { return processCollectRequest(level, -1); }
  ZOVReturnCode suspendCollectingGCData() { return _session.switches().suspendGC(); }
  ZOVReturnCode resumeCollectingGCData() { return _session.switches().resumeGC(); }

 protected:
  zov::ServerOwner& owner() { return _owner; }
  zov::CollectorMonitor& monitor() { return _monitor; }
  zov::CollectorSession& session() { return _session; }
  zov::ServerStatistics& statistics() { return _statistics; }

 private:
  bool isNamedByConfiguration() const;
  RWCString makeSubnodeName(const RWCString& alias);
  void bindPendingDCInstance();
  void terminateCurrentDCInstance();

  const RWCString _serverRootDirectory;
  const RWCString _workingDirectory;
  const RWCString _platform;
  const int _occurrence;
  const int _appServerType;
  const bool _startMonitorOnConnect;

  zov::ServerOwner _owner;
  zov::Mutex _messagesMutex;
  std::weak_ptr<CollectProfilerSampleRequest> _messagesRequest
      ZOV_GUARDED_BY(_messagesMutex);  // while under way
  zov::GuardedText _aliasName;         // the alias that the subnode name was made from
  zov::GuardedText _localeName, _encoding, _subnodeName, _subnodeNameUTF8;
  zov::GuardedText _logFile, _errLogFile, _verboseGCLogFile, _tslNodeName, _tslCellName, _clusterName;
  zov::GuardedText _formattedStartTime{" "};

  std::atomic<_AppServerStatus> _status{ServerDisconnected};
  std::atomic<long long> _startTime{-1};
  std::atomic<unsigned int> _dcProbeManagerProcessId{0};
  std::atomic<unsigned int> _dcResourceManagerProcessId{0};
  std::atomic<unsigned int> _currentDCInstanceId{0};
  std::atomic<unsigned int> _pendingDCInstanceId{0};
  std::atomic<bool> _subnodeRegistered{false};

  // Set by init, before the server is shared.
  bool _excludedFromMonitoring = false;
  std::atomic<ZOVAppServerConfigParms*> _configParms{nullptr};  // replaced by reconfigure
  zov::ServerSettings _settings;

  // The parts; each knows those that it needs.
  zov::ServerAnchors _anchors{*this, _settings};
  zov::CollectorMonitor _monitor{*this, _session, _settings};
  zov::CollectorSession _session{*this, _anchors, _monitor};
  zov::ServerStatistics _statistics{*this, _anchors, _settings};
};
