#pragma once
// ZOVApplicationServerBase: the agent's record of one monitored server: who it is, whether it is connected,
// how it is configured, the anchors of its resources, and its two threads. It is itself the anchor of its own
// sample (type 1). ZOVApplicationServer adds the collector's session, and is the one concrete class.
//
// Ownership: the application context holds servers by shared_ptr, and whoever uses one across a wait holds a
// shared_ptr too. The last one to let go stops the threads, so it must hold no lock that they could want, and
// must not be one of them.
//
// Locks, in their order: context; _rpxLock, _socketLock (ZOVApplicationServer); the server's own lock, which
// guards anchors, cached requests, the asynchronous list, the thread objects and the texts that change.
// Scalars that are read without a lock are atomic. Getters of texts lock and copy.
//
// Threads: the collector monitor (background_collection.cpp) polls and serves requests that others wait for;
// the statistics thread (rpx_monitor.cpp) collects the server's own statistics. Neither ever needs the
// context lock exclusively.
//
// An excluded server answers 35 to every collection. Return codes are those of return_codes.def.

#include <atomic>
#include <list>
#include <memory>

#include "runtime/lock.h"
#include "samples/anchors.h"
#include "samples/sample.h"
#include "server/cached_sample_request.h"
#include "server/collector_monitor.h"
#include "server/resource_anchor_table.h"
#include "server/server_description.h"
#include "server/server_settings.h"
#include "server/server_statistics.h"

class ZOVAppServerConfigParms;
class ZOVMessageSample;
class ZOVPingRequest;
class ZOVPollRequest;
class ZOVRequest;
class ZOVSocketConnection;

class ZOVApplicationServerBase : public ZOVAppServerAnchor, public ZOVSampleKeeper {
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
  virtual ZOVReturnCode init(_AppServerStatus status);

  // --- Identity. What does not change after construction is given by reference.
  const RWCString& getName() const { return getResourceName(); }
  const RWCString& getServerRootDirectory() const { return _serverRootDirectory; }
  const RWCString& getWorkingDirectory() const { return _workingDirectory; }
  const RWCString& getPlatform() const { return _platform; }
  int getOccurrence() const { return _occurrence; }
  int getAppServerType() const { return _appServerType; }
  RWCString getAliasName() const { return copyText(_aliasName); }
  RWCString getLocaleName() const { return copyText(_localeName); }
  RWCString getEncoding() const { return copyText(_encoding); }
  RWCString getSubnodeName() const { return copyText(_subnodeName); }          ///< local code page
  RWCString getSubnodeNameUTF8() const { return copyText(_subnodeNameUTF8); }  ///< UTF-8
  RWCString getTSLNodeName() const { return copyText(_tslNodeName); }
  RWCString getTSLCellName() const { return copyText(_tslCellName); }
  RWCString getClusterName() const { return copyText(_clusterName); }
  RWCString getLogFileName() const { return copyText(_logFile); }
  RWCString getErrLogFileName() const { return copyText(_errLogFile); }
  RWCString getVerboseGCLogFileName() const { return copyText(_verboseGCLogFile); }
  void setTSLNodeName(const char* text) { setText(_tslNodeName, text); }
  void setTSLCellName(const char* text) { setText(_tslCellName, text); }
  void setClusterName(const char* text) { setText(_clusterName, text); }
  /// True when the text differs from what was kept.
  bool setLocaleName(const char* text) { return setText(_localeName, text); }
  bool setEncoding(const char* text) { return setText(_encoding, text); }
  virtual void setLogFile(const char* text) { setText(_logFile, text); }
  void setErrLogFile(const char* text) { setText(_errLogFile, text); }
  virtual bool setVerboseGCLogFile(const char* text) { return setText(_verboseGCLogFile, text); }

  // --- Status.
  _AppServerStatus getStatus() const { return _status; }
  RWCString getStatusText() const;  ///< in the reader's language, UTF-8
  /// 1 when the status changed. Ending a connection takes the collector's socket and marks what it told.
  virtual int setStatus(_AppServerStatus status);
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
  virtual void setDCProbeManagerProcessId(unsigned int id);
  void setDCResourceManagerProcessId(unsigned int id);
  unsigned int getPendingDCInstanceId() const { return _pendingDCInstanceId; }
  unsigned int getCurrentDCInstanceId() const { return _currentDCInstanceId; }
  void setPendingDCInstanceId(unsigned int id);
  void setCurrentDCInstanceId();  ///< the pending instance becomes the current one
  void resetPendingDCInstanceId() { _pendingDCInstanceId = 0; }
  bool isDCInstancePending() const { return _pendingDCInstanceId != 0; }

  // --- Subnode.
  /// 0, or 175 when no name is left. Asks the other servers, so with no lock of this server held.
  virtual ZOVReturnCode buildSubnodeName();
  virtual ZOVReturnCode registerSubNode();    ///< 0, 36, or what buildSubnodeName says
  virtual ZOVReturnCode deRegisterSubNode();  ///< 53 while connected, 36 when the framework refuses
  bool isSubnodeRegistered() const { return _subnodeRegistered; }
  virtual const char* getSubnodeAffinity() const = 0;

  // --- Configuration.
  ZOVAppServerConfigParms* getConfigParms() const { return _configParms; }
  const zov::ServerSettings& settings() const { return _settings; }
  int getRequestCollectLevel() const { return _workloadCollectLevel; }
  int getRequestCapturePercent() const { return _workloadCapturePercent; }
  bool isGCDataCollectionSuspended() const { return _gcCollectAction == 0; }
  int getPollInterval() const { return _settings.pollInterval; }
  long getSocketReceiveTimeout() const { return _settings.socketReceiveTimeout; }
  bool collectingHistoricalDataForSampleType(ZOVSample::_SampleType type) const;

  // --- Anchors (server_anchors.cpp).
  int lock(_LockRequestType type, _WaitRequestType wait) const { return _lock.get(type, wait); }
  void release(_LockRequestType type) const { _lock.release(type); }
  void saveSample(ZOVSample* sample, _SaveSampleType type, unsigned int collectionId) override;
  int getMinSamplingInterval(ZOVSample::_SampleType type) const;  ///< seconds
  /// True when samples that these would answer were taken within the minimum interval.
  bool findCachedSampleRequest(const ZOVResourceAnchor& anchor);
  void defineCachedSampleRequest(const ZOVResourceAnchor& anchor);
  void markResourceAnchorsLogicallyDeleted(ZOVSample::_DataSource source);
  void markAllSourcesLogicallyDeleted();  ///< those that a collector or the statistics deliver
  /// Marks what the wanted anchor selects and collection `collectionId` did not deliver.
  void removeObsoleteResourceAnchors(const ZOVResourceAnchor* anchor, unsigned int collectionId);
  void removeObsoleteResourceAnchors(ZOVSample::_DataSource source, unsigned int collectionId);
  /// Destroys anchors that have not reported for long.
  void removeObsoleteResourceAnchorsByTime(ZOVSample::_DataSource source);
  /// Hands each sample that the wanted anchor selects to the callback, under the server's lock.
  /// 0; 9 when there was none; 41 when the server is not active (normal reads of its resources); 149 for a
  /// historical read of what is not kept as history. The server itself (type 1) always has a sample: at worst
  /// one made here of its name and status.
  using ZOVAppServerAnchor::returnSamples;
  ZOVReturnCode returnSamples(ZOVSampleCallback callback, ZOVSampleCallbackParms* parms,
                              const ZOVResourceAnchor& anchor, _SaveSampleType saveType);
  /// Adds the server-wide sums of the resources to a sample of the server.
  void rollupTo(ZOVAppServerSample& serverSample);

  // --- Collection by the collector monitor (background_collection.cpp).
  static bool isObtainedFromProfiler(ZOVSample::_SampleType type);
  static bool collectOnDemandOnly(ZOVSample::_SampleType type);
  bool runningBackgroundCollection(ZOVSample::_SampleType type) const;
  bool runningBackgroundProfilerCollection() const {
    return _monitor.isRunning() && _settings.pollInterval != 0;
  }
  bool runningBackgroundRPXCollection() const { return _statistics.isRunning(); }
  /// Takes fresh samples for a wanted anchor, unless recent ones serve.
  ZOVReturnCode takeSample(const ZOVResourceAnchor& anchor);
  ZOVReturnCode takeSampleFromProfiler(const ZOVResourceAnchor& anchor);
  ZOVReturnCode getOnDemandProfilerSamples(const ZOVResourceAnchor& anchor);
  /// 0 when the present collector answered a ping.
  ZOVReturnCode requestTestConnectivity();
  ZOVReturnCode submitAsynchronousRequest(const std::shared_ptr<CollectProfilerSampleRequest>& request) {
    return _monitor.submit(request);
  }
  void startProfilerMonitorThread() { _monitor.start(); }
  void stopProfilerMonitorThread(bool force) { _monitor.stop(force); }
  void wakeupBackgroundProfilerMonitor() { _monitor.wake(); }

  // --- Collection of the server's own statistics.
  ZOVReturnCode takeSampleFromRPX(const ZOVResourceAnchor& anchor) {
    return _excludedFromMonitoring ? ZOVReturnCode(ZOV_SERVER_EXCLUDED) : _statistics.take(anchor);
  }
  ZOVReturnCode suspendCollectingResourceData() { return _statistics.suspend(); }
  ZOVReturnCode resumeCollectingResourceData() { return _statistics.resume(); }
  void connectedWithResourceManager() { _statistics.connected(); }
  void disconnectedFromResourceManager() { _statistics.disconnected(); }
  bool isResourceDataCollected() const { return _statistics.isCollected(); }
  bool isResourceDataCollectionSuspended() const { return _statistics.isSuspended(); }
  void stopRPXMonitorThread() { _statistics.stop(); }
  /// Tells both threads to end, and waits for neither.
  void requestThreadsToStop();
  /// Stops both threads: true when they have ended, false when one was killed and did not end.
  bool stopThreads();
  /// Wakes both threads and waits until they have done what was due. For tests.
  void settle() {
    _monitor.thread().settle();
    _statistics.thread().settle();
  }

  // --- What ZOVApplicationServer's session answers.
  virtual int isConnectedWithProfiler() const = 0;
  virtual int CollectingRequestData() const = 0;
  virtual int collectingGCData() const = 0;
  virtual ZOVReturnCode testConnectivity() = 0;
  virtual void shutdownSocket() = 0;
  virtual void interruptSocket() = 0;  ///< wakes whoever waits on the socket; takes no ZOVLock
  virtual ZOVReturnCode obtainSamplesFromProfiler(ZOVPollRequest& poll, const ZOVResourceAnchor& anchor) = 0;
  /// Sends a request in the collector's session. `value` and `text`, when not null, get a refusal's reason.
  virtual ZOVReturnCode sendProfilerCollectionRequest(const ZOVRequest& request, long long* value,
                                                      RWCString* text) = 0;
  virtual ZOVReturnCode processCollectRequest(int level, int percent) = 0;
  virtual ZOVReturnCode processGCCollectData(int action, int interval) = 0;

 protected:
  /// `text` as kept, null as empty; true when it differs from before.
  bool setText(RWCString& member, const char* text);
  RWCString copyText(const RWCString& member) const;

  // Not guarded: set before the server is shared, or atomic.
  std::atomic<_AppServerStatus> _status{ServerDisconnected};
  bool _excludedFromMonitoring = false;
  ZOVAppServerConfigParms* _configParms = nullptr;
  zov::ServerSettings _settings;
  std::atomic<int> _gcCollectAction{0};     ///< 0 off, 1 on
  std::atomic<int> _gcCollectInterval{60};  ///< seconds
  std::atomic<int> _workloadCollectLevel{0};
  std::atomic<int> _workloadCapturePercent{0};
  /// The number of the next poll; never 0. Called under the lock that serialises polls.
  unsigned int nextCollectionId() {
    if (++_collectionId == 0) _collectionId = 1;
    return _collectionId;
  }
  bool isMonitorStopping() const { return _monitor.isStopping(); }
  mutable ZOVLock _lock{"AppServerLock"};
  ZOVResourceAnchorTable _resourceAnchorTable;  // guarded by _lock
  zov::CollectorMonitor _monitor{*this, _settings};
  zov::ServerStatistics _statistics{*this, _settings};

 private:
  RWCString makeSubnodeName(const RWCString& alias);
  void saveServerSample(ZOVSample* sample, _SaveSampleType type, unsigned int collectionId);
  void saveResourceSample(ZOVSample* sample, _SaveSampleType type, unsigned int collectionId);
  unsigned int returnServerSample(ZOVSampleCallback callback, ZOVSampleCallbackParms* parms,
                                  _SaveSampleType saveType);
  unsigned int returnResourceSamples(ZOVSampleCallback callback, ZOVSampleCallbackParms* parms,
                                     const ZOVResourceAnchor& anchor, _SaveSampleType saveType);
  int isRemovableByTime(const ZOVResourceAnchor& anchor, std::uint32_t now, int retain) const;

  const RWCString _serverRootDirectory;
  const RWCString _workingDirectory;
  const RWCString _platform;
  const int _occurrence;
  const int _appServerType;
  const bool _startMonitorOnConnect;

  // Guarded by _lock.
  RWCString _aliasName;  // the alias that the subnode name was made from
  RWCString _localeName, _encoding, _subnodeName, _subnodeNameUTF8;
  RWCString _logFile, _errLogFile, _verboseGCLogFile, _tslNodeName, _tslCellName, _clusterName;
  char _formattedStartTime[20] = " ";
  std::list<CachedSampleRequest> _cachedSampleRequests;

  unsigned int _collectionId = 0;  // changed by nextCollectionId alone
  std::atomic<long long> _startTime{-1};
  std::atomic<unsigned int> _dcProbeManagerProcessId{0};
  std::atomic<unsigned int> _dcResourceManagerProcessId{0};
  std::atomic<unsigned int> _currentDCInstanceId{0};
  std::atomic<unsigned int> _pendingDCInstanceId{0};
  std::atomic<bool> _subnodeRegistered{false};
};
