#pragma once
// ZOVRemoteResourceManager::RemotePSIClient: the worker for one statistics client inside a remote JVM. It
// turns collection requests into requests on the wire, which its JVM carries (remote_jvm.h), and the texts
// that come into samples. It makes the JVM's side of itself anew when that is gone, ten times in a row at
// most, until resetRetryCount.
//
// Ownership: its JVM's; shared with the entries of the servers that it serves.
//
// Threads: its own takes requests one after the other, and blocks in each. It finishes each that it takes
// exactly once: with 142 on a raise, 7 when the server is gone, 140 without a connection, 151 while the JVM's
// side is not ready. The JVM's thread calls disconnected.
//
// A client's number is good for the connection of the JVM on which it was given, and for no other; so a
// connection that is lost at any moment leaves no number behind.

#include <atomic>

#include "remote/remote_jvm.h"

class ZOVRemoteResourceManager::RemotePSIClient final
    : public ZOVServiceTask,
      public std::enable_shared_from_this<ZOVRemoteResourceManager::RemotePSIClient> {
 public:
  static constexpr int MaximumRetries = 10;
  /// Between the names of a resource, and between the lines of a text.
  static constexpr char Delimiter = '\n';

  RemotePSIClient(ZOVRemoteResourceManager& manager, RemoteJVM& jvm) : _manager(manager), _jvm(jvm) {}
  ~RemotePSIClient() override;

  void backgroundProcessing() override;

  // --- Any thread.
  /// Queues the request, which is this client's then.
  void offer(RPXCollectionRequest* request) { processRequest(request, ReturnAtOnce); }
  /// Queues a request that nobody waits for; of a mask of the manager's, with a server or without.
  void ask(unsigned long long mask, ZOVApplicationServerBase* server);
  /// The number that the JVM gave belongs to its present connection.
  bool hasClientId() const { return _connection != 0 && _connection == _jvm.connection(); }
  /// Messages speak of it: the JVM's name, and the number.
  RWCString getName() const;
  RemoteJVM& jvm() const { return _jvm; }
  void resetRetryCount() { _retryCount = 0; }
  void setCollectionSuspended(bool suspended) { _collectionSuspended = suspended; }
  bool isCollectionSuspended() const { return _collectionSuspended; }
  /// The JVM has lost its connection.
  void disconnected();

 private:
  void turn();
  ZOVReturnCode dispatch(RPXCollectionRequest& request);
  ZOVReturnCode isReady();
  bool isConnected();
  ZOVReturnCode createRemotePSIClient();
  ZOVReturnCode testIfFullyInitialized();
  void setDelimiter();
  ZOVReturnCode pingAppServers();
  ZOVReturnCode processEnumerateAppServersRequest();
  ZOVReturnCode processRefreshNameCacheRequest();
  ZOVReturnCode collectAllPSIData(RPXCollectionRequest& request);
  ZOVReturnCode processSpecificPSIRequest(RPXCollectionRequest& request);
  ZOVReturnCode collect(const ZOVRequest& wire, int sampleType, RPXCollectionRequest& request);
  static std::unique_ptr<ZOVSample> processPSISample(const ZOVSample& sample, int sampleType);
  ZOVReturnCode sendAndGetResponse(const ZOVRequest& wire);
  ZOVReturnCode sendRequestAndGetSamples(const ZOVRequest& wire, int timeout);
  ZOVReturnCode waitFor(RemoteJVMSocketRequest& request);
  RWCString serverName() const;

  ZOVRemoteResourceManager& _manager;
  RemoteJVM& _jvm;  // its thread outlives this one's
  std::atomic<int> _clientId{-1};
  std::atomic<unsigned int> _connection{0};  // the JVM's, on which the number was given; 0 is none
  std::atomic<int> _retryCount{0};           // creations tried since the last success
  std::atomic<bool> _initialised{false};
  std::atomic<bool> _needsTest{false};
  std::atomic<bool> _collectionSuspended{false};

  // The thread's alone. What is in hand stands here, so that a raise loses none of it.
  RPXCollectionRequest* _requestInHand = nullptr;
  Server _serverInHand;
  SampleList _samplesInHand;
};
