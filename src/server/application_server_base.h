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
#include <deque>
#include <list>
#include <memory>

#include "runtime/event.h"
#include "runtime/lock.h"
#include "runtime/recoverable_thread.h"
#include "samples/anchors.h"
#include "samples/sample.h"
#include "server/cached_sample_request.h"
#include "server/collect_sample_request.h"
#include "server/resource_anchor_table.h"
#include "server/server_description.h"

class RPXCollectionRequest;
class ZOVAppServerConfigParms;
class ZOVMessageSample;
class ZOVPingRequest;
class ZOVPollRequest;
class ZOVRequest;
class ZOVSocketConnection;

class ZOVApplicationServerBase : public ZOVAppServerAnchor, public ZOVSampleKeeper {
 public:
  /// "No type in particular": the poll of the collector monitor.
  static constexpr int EverythingSampleType = 997;
  static constexpr int EverySampleType = 999;  ///< as 997, with the types that are polled on demand only
  static constexpr std::size_t SubnodeAffinityLength = 43;  ///< blank padded
  static constexpr int DefaultRetainHistory = 3600;         ///< seconds, without a configuration

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
  int isExcludedFromMonitoring() const { return _excludedFromMonitoring; }
  int isPSISupported() const { return _appServerType == MonitoredServer; }

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
  int isDCInstancePending() const { return _pendingDCInstanceId != 0; }

  // --- Subnode.
  /// 0, or 175 when no name is left. Asks the other servers, so with no lock of this server held.
  virtual ZOVReturnCode buildSubnodeName();
  virtual ZOVReturnCode registerSubNode();    ///< 0, 36, or what buildSubnodeName says
  virtual ZOVReturnCode deRegisterSubNode();  ///< 53 while connected, 36 when the framework refuses
  int isSubnodeRegistered() const { return _subnodeRegistered; }
  virtual const char* getSubnodeAffinity() const = 0;

  // --- Configuration.
  ZOVAppServerConfigParms* getConfigParms() const { return _configParms; }
  int getRequestCollectLevel() const { return _workloadCollectLevel; }
  int getRequestCapturePercent() const { return _workloadCapturePercent; }
  int isGCDataCollectionSuspended() const { return _gcCollectAction == 0; }
  int getPollInterval() const { return _pollInterval; }
  long getSocketReceiveTimeout() const { return _socketReceiveTimeout; }
  int collectingHistoricalDataForSampleType(int type) const;
  /// The value, or the default (with the message, which names both) when it is outside the range.
  int validateConfigValue(int value, int minimum, int maximum, int message, int defaultValue) const;

  // --- Anchors (server_anchors.cpp).
  int lock(_LockRequestType type, _WaitRequestType wait) const { return _lock.get(type, wait); }
  void release(_LockRequestType type) const { _lock.release(type); }
  void saveSample(ZOVSample* sample, _SaveSampleType type, unsigned int collectionId) override;
  int getMinSamplingInterval(int type) const;  ///< seconds
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
  static bool isObtainedFromProfiler(int type);
  static bool collectOnDemandOnly(int type);
  bool runningBackgroundCollection(int type) const;
  bool runningBackgroundProfilerCollection() const { return _profilerMonitorRunning && _pollInterval != 0; }
  bool runningBackgroundRPXCollection() const { return _rpxMonitorRunning; }
  /// Takes fresh samples for a wanted anchor, unless recent ones serve.
  ZOVReturnCode takeSample(const ZOVResourceAnchor& anchor);
  ZOVReturnCode takeSampleFromProfiler(const ZOVResourceAnchor& anchor);
  ZOVReturnCode getOnDemandProfilerSamples(const ZOVResourceAnchor& anchor);
  /// 0 when the present collector answered a ping.
  ZOVReturnCode requestTestConnectivity();
  ZOVReturnCode submitAsynchronousRequest(const std::shared_ptr<CollectProfilerSampleRequest>& request);
  void startProfilerMonitorThread();
  /// Without force, nothing while data is collected. With it, the collector's socket is shut down too, so
  /// that no peer holds the thread up. Returns when the thread has ended.
  void stopProfilerMonitorThread(int force);
  void wakeupBackgroundProfilerMonitor();

  // --- Collection of the server's own statistics (rpx_monitor.cpp).
  ZOVReturnCode takeSampleFromRPX(const ZOVResourceAnchor& anchor);
  void stopRPXMonitorThread();
  /// Tells both threads to end, and waits for neither.
  void requestThreadsToStop();
  /// Stops both threads: true when they have ended, false when one was killed and did not end.
  bool stopThreads();

  // --- What ZOVApplicationServer's session answers.
  virtual int isConnectedWithProfiler() const = 0;
  virtual int CollectingRequestData() const = 0;
  virtual int collectingGCData() const = 0;
  virtual int isResourceDataCollected() const = 0;
  virtual int isResourceDataCollectionSuspended() const = 0;
  virtual ZOVReturnCode testConnectivity() = 0;
  virtual void shutdownSocket() = 0;
  virtual void interruptSocket() = 0;  ///< wakes whoever waits on the socket; takes no ZOVLock
  virtual ZOVReturnCode obtainSamplesFromProfiler(ZOVPollRequest& poll, const ZOVResourceAnchor& anchor) = 0;
  /// Sends a request in the collector's session. `value` and `text`, when not null, get a refusal's reason.
  virtual ZOVReturnCode sendProfilerCollectionRequest(const ZOVRequest& request, long long* value,
                                                      RWCString* text) = 0;
  virtual ZOVReturnCode processCollectRequest(int level, int percent) = 0;
  virtual ZOVReturnCode processGCCollectData(int action, int interval) = 0;
  virtual void connectedWithResourceManager() = 0;
  virtual void disconnectedFromResourceManager() = 0;

 protected:
  /// `text` as kept, null as empty; true when it differs from before.
  bool setText(RWCString& member, const char* text);
  RWCString copyText(const RWCString& member) const;

  // Not guarded: set before the server is shared, or atomic.
  std::atomic<_AppServerStatus> _status{ServerDisconnected};
  int _excludedFromMonitoring = 0;
  ZOVAppServerConfigParms* _configParms = nullptr;
  long _socketReceiveTimeout = 300;            ///< seconds
  std::atomic<int> _requestCollectAction{0};   ///< 0 none, 1 on demand, 2 by interval
  std::atomic<int> _resourceCollectAction{0};  ///< the same
  std::atomic<int> _gcCollectAction{0};        ///< 0 off, 1 on
  std::atomic<int> _gcCollectInterval{60};     ///< seconds
  std::atomic<int> _workloadCollectLevel{0};
  std::atomic<int> _workloadCapturePercent{0};
  /// The number of the next poll; never 0. Called under the lock that serialises polls.
  unsigned int nextCollectionId() {
    if (++_collectionId == 0) _collectionId = 1;
    return _collectionId;
  }
  bool isMonitorStopping() const { return _stopProfilerMonitor; }
  mutable ZOVLock _lock{"AppServerLock"};
  ZOVResourceAnchorTable _resourceAnchorTable;  // guarded by _lock

 private:
  struct MonitorTimes;  // the collector monitor's clock

  static int launchBackgroundProfilerMonitor(void* server, ZOVThread* thread);
  static int launchBackgroundRPXMonitor(void* server, ZOVThread* thread);

  void readConfiguration();
  RWCString makeSubnodeName(const RWCString& alias);
  void saveServerSample(ZOVSample* sample, _SaveSampleType type, unsigned int collectionId);
  void saveResourceSample(ZOVSample* sample, _SaveSampleType type, unsigned int collectionId);
  unsigned int returnServerSample(ZOVSampleCallback callback, ZOVSampleCallbackParms* parms,
                                  _SaveSampleType saveType);
  unsigned int returnResourceSamples(ZOVSampleCallback callback, ZOVSampleCallbackParms* parms,
                                     const ZOVResourceAnchor& anchor, _SaveSampleType saveType);
  int isRemovableByTime(const ZOVResourceAnchor& anchor, std::uint32_t now, int retain) const;

  // The collector monitor thread.
  void backgroundProfilerMonitor();
  void runProfilerMonitor(MonitorTimes& times);
  void profilerMonitorTurn(MonitorTimes& times);
  void profilerMonitorEnded(const ZOVReturnCode& lastResult);
  void serveRequests(MonitorTimes& times);
  std::shared_ptr<CollectProfilerSampleRequest> nextRequest();

  // The statistics thread.
  void startRPXMonitorThread();
  void backgroundRPXMonitor();
  void rpxMonitorTurn(std::uint32_t& next);
  void rpxMonitorEnded();
  void collectStatistics();
  ZOVReturnCode collectFromRPX(RPXCollectionRequest& request, const ZOVResourceAnchor* wanted);
  static bool isWanted(ZOVSample& sample, const ZOVResourceAnchor* wanted);
  ZOVReturnCode takeRollUpSamples();
  std::unique_ptr<RPXCollectionRequest> makeRPXRequest(const ZOVResourceAnchor& anchor);
  void completeServerSample(ZOVAppServerSample& serverSample);
  void saveStandInSample();

  static bool waitUntilStopped(const std::atomic<int>& running, ZOVEvent& stopped, long seconds);
  static void releaseLocksOfTurn();
  void startThread(std::shared_ptr<ZOVRecoverableThread>& thread, std::atomic<int>& running,
                   std::atomic<int>& stop, ZOVEvent& wakeup, ZOVEvent& stopped,
                   int (*entry)(void*, ZOVThread*));
  bool stopThread(std::shared_ptr<ZOVRecoverableThread>& thread, const std::atomic<int>& running,
                  ZOVEvent& stopped);

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
  std::deque<std::shared_ptr<CollectProfilerSampleRequest>> _asynchronousRequests;
  std::shared_ptr<ZOVRecoverableThread> _profilerMonitorThread;  // kept after its end, until the next
  std::shared_ptr<ZOVRecoverableThread> _rpxMonitorThread;

  unsigned int _collectionId = 0;  // changed by nextCollectionId alone
  std::atomic<long long> _startTime{-1};
  std::atomic<unsigned int> _dcProbeManagerProcessId{0};
  std::atomic<unsigned int> _dcResourceManagerProcessId{0};
  std::atomic<unsigned int> _currentDCInstanceId{0};
  std::atomic<unsigned int> _pendingDCInstanceId{0};
  std::atomic<int> _subnodeRegistered{0};

  // Set by init, before the server is shared.
  unsigned int _historicalCollection = 0;
  int _pollInterval = 0;           // seconds; 0 is on demand only
  int _requestCollectAgeMax = 0;   // seconds
  int _resourceCollectAgeMax = 0;  // seconds
  int _resourcePollFrequency = 0;  // seconds; 0 means no statistics thread

  std::atomic<int> _stopProfilerMonitor{0};
  std::atomic<int> _profilerMonitorRunning{0};  // from before the thread's start to its last step
  ZOVEvent _profilerMonitorWakeup;
  ZOVEvent _profilerMonitorStopped;
  std::shared_ptr<CollectProfilerSampleRequest> _requestInHand;  // the monitor thread's

  std::atomic<int> _stopRPXMonitor{0};
  std::atomic<int> _rpxMonitorRunning{0};
  ZOVEvent _rpxMonitorWakeup;
  ZOVEvent _rpxMonitorStopped;
  ZOVLock _rpxLock{"RPXLock"};        // one statistics cycle or on-demand request at a time
  unsigned int _rpxCollectionId = 0;  // guarded by _rpxLock
};
