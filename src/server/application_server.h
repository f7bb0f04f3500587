#pragma once
// ZOVApplicationServer: the concrete server. To its base it adds the live session with the data collector
// (the socket, the abbreviations, what the collector was told to collect), the log file, the environment
// variables and Java properties of the server, and the commands that start and stop it.
//
// _socketLock serialises all exchanges with the collector; it comes before the server's own lock. The socket
// pointer changes only under it, and _socketMutex (innermost, for a few instructions) lets another thread
// shut the socket down meanwhile, so that no peer can hold a thread up for ever. _logFileLock,
// _envVariablesLock and _jvmPropertiesLock stand alone.
//
// A session: foundProfiler binds it on the listener's thread; a socket error, a test ping that fails, or a
// new collector instance ends it. What the collector has told stays, marked as deleted.

#include <deque>
#include <memory>
#include <mutex>

#include "foundation/collections.h"
#include "samples/key_value_samples.h"
#include "samples/string_abbreviation_table.h"
#include "server/application_server_base.h"
#include "server/server_services.h"

class ZOVBuffer;
class ZOVTransportableData;

class ZOVApplicationServer : public ZOVApplicationServerBase {
 public:
  /// Samples of one poll, in the order of their arrival.
  using SampleList = std::deque<std::unique_ptr<ZOVSample>>;
  /// What a poll may bring before its end marker; more counts as damage.
  static constexpr std::size_t MaximumFramesPerPoll = 4'000'000;
  static constexpr std::size_t MaximumBytesPerPoll = 1 << 30;
  /// Of one session; more counts as damage, and the next session begins with none.
  static constexpr std::size_t MaximumAbbreviations = 1'000'000;
  static constexpr std::size_t MaximumVariables = 10'000;  ///< or properties; more are not kept
  static constexpr std::size_t AbbreviationBuckets = 4751;

  using ZOVApplicationServerBase::ZOVApplicationServerBase;
  ~ZOVApplicationServer() override;  ///< stops the threads first

  /// A new server after its init, or null with the reason in `rc`: 7 for an empty name, or what init answers.
  /// Its last owner stops its threads; a server whose thread cannot be stopped is leaked rather than freed.
  static std::shared_ptr<ZOVApplicationServer> buildNew(const zov::ServerDescription& description,
                                                        ZOVReturnCode& rc);
  using ZOVApplicationServerBase::init;
  ZOVReturnCode init(_AppServerStatus status, unsigned int processId, std::string_view logFile,
                     std::string_view errLogFile, long long startTime);

  const char* getSubnodeAffinity() const override;

  // --- The session (collector_session.cpp).
  /// 0 when the ping is this server's to take, 173 when it is another's, 174 when the present collector
  /// lives.
  ZOVReturnCode isThisYourPing(const ZOVPingRequest& ping);
  /// Begins a session. False when the server is excluded from monitoring. Called with no lock held.
  bool foundProfiler(const std::shared_ptr<ZOVSocketConnection>& socket, const ZOVPingRequest& ping);
  void setDCProbeManagerProcessId(unsigned int id) override;
  void shutdownSocket() override;
  void interruptSocket() override;
  void socketError(const ZOVReturnCode& code);
  int isConnectedWithProfiler() const override;
  ZOVReturnCode testConnectivity() override;
  ZOVReturnCode sendProfilerCollectionRequest(const ZOVRequest& request, long long* value,
                                              RWCString* text) override;
  ZOVReturnCode sendInitProfilerCollectionRequest(const ZOVRequest& request, long long* value) {
    return sendProfilerCollectionRequest(request, value, nullptr);
  }

  // --- What is collected (collection_control.cpp).
  ZOVReturnCode processCollectRequest(int level, int percent) override;
  ZOVReturnCode processGCCollectData(int action, int interval) override;
  ZOVReturnCode startDefaultRequestCollection();
  ZOVReturnCode startDefaultGCCollection();
  ZOVReturnCode suspendCollectingRequestData() { return processCollectRequest(0, -1); }
  ZOVReturnCode resumeCollectingRequestData(int level) { return processCollectRequest(level, -1); }
  ZOVReturnCode suspendCollectingGCData();
  ZOVReturnCode resumeCollectingGCData();
  int CollectingRequestData() const override { return mCollectingRequestData; }
  int collectingGCData() const override { return _collectingGCData; }
  void startedCollectingRequestData(int flag);
  void startedCollectingGCData(int flag);

  // --- One poll (collector_session.cpp).
  ZOVReturnCode obtainSamplesFromProfiler(ZOVPollRequest& poll, const ZOVResourceAnchor& anchor) override;
  void convertAbbreviatedStringsInSample(ZOVSample& sample) const;
  /// The full text, or the text itself when it is no abbreviation that is known.
  RWCString lookupAbbreviatedString(const RWCString& text, long long profilerId) const;

  // --- Environment variables and Java properties, as the collector tells them at each session.
  /// Type VariableAny finds a variable of any type. False when there is none.
  bool findEnvVariable(const char* name, ZOVEnvVariableSample::_VariableType type, RWCString& value) const;
  bool findJavaProperty(const char* name, RWCString& value) const;

  // --- Log file.
  void setLogFile(std::string_view text) override;
  /// On a connected server a change starts the default collection; so with no lock held.
  bool setVerboseGCLogFile(std::string_view text) override;
  void returnLogFileSamples(ZOVSampleCallback callback, ZOVSampleCallbackParms* parms);

  // --- Commands; both answer 176. Names and options are quoted for the shell where it needs that.
  ZOVReturnCode startAppServer(const RWCString& arguments);
  ZOVReturnCode stopAppServer(const RWCString& arguments);

 private:
  struct Poll;  // what is in hand during one poll

  template <class Body>
  ZOVReturnCode exchange(const char* function, const ZOVReturnCode& withoutSocket, Body&& body);
  void bindSocket(const std::shared_ptr<ZOVSocketConnection>& socket);
  void startDefaultCollections();
  void bindPendingDCInstance();
  void terminateCurrentDCInstance();

  ZOVReturnCode collectDataFromProfilerSocket(ZOVSocketConnection& socket, const ZOVPollRequest& request,
                                              Poll& poll);
  ZOVReturnCode takeFrame(ZOVSocketConnection& socket, ZOVBuffer& frame, Poll& poll);
  ZOVReturnCode takeSampleFrame(std::unique_ptr<ZOVSample> sample, Poll& poll);
  void saveSamplesOfPoll(Poll& poll);
  void removeObsoleteAfter(const ZOVResourceAnchor& anchor, unsigned int collectionId);
  void processMessageSample(const ZOVMessageSample& sample);
  void addEnvVariableFromSample(const ZOVSample& sample);
  void addJVMPropertyFromSample(const ZOVSample& sample);
  void processJVMPropertiesFromSample();
  void clearEnvVariables();
  void clearJVMProperties();
  RWCString commandArgument() const;
  void queueCommand(const char* script, const RWCString& arguments);

  mutable ZOVLock _logFileLock{"LogFileLock"};
  std::unique_ptr<ZOVServerLogFile> _logFileFollower;  // guarded by _logFileLock

  ZOVLock _socketLock{"SocketLock"};
  mutable std::mutex _socketMutex;
  std::shared_ptr<ZOVSocketConnection> _socket;                        // null when there is no session
  ZOVStringAbbreviationTable _abbreviationTable{AbbreviationBuckets};  // has a lock of its own

  std::atomic<int> mCollectingRequestData{0};
  std::atomic<int> _collectingGCData{0};

  mutable ZOVLock _envVariablesLock{"EnvVariablesLock"};
  std::deque<ZOVEnvVariableSample> _envVariables;
  mutable ZOVLock _jvmPropertiesLock{"JVMPropertiesLock"};
  std::deque<ZOVTSLJavaProperty> _jvmProperties;
};
