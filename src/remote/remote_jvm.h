#pragma once
// ZOVRemoteResourceManager::RemoteJVM: the agent's end of the link to one statistics JVM. It asks a server's
// collector for the JVM and waits for it to call back, sends the requests of its clients, matches what comes
// to them, and gets a new JVM when the connection is lost. Ten failures in a row end the tries, and so does a
// collector that refuses at once: the thread ends, and the server's next session brings another RemoteJVM.
//
// Ownership: the manager's table, shared with who is just using it. It owns its clients and its socket, and
// refers weakly to the server through which the JVM is asked for.
//
// Threads. Its own does all work on the socket and on the requests that are pending; a read waits one second
// at most, so that new requests do not wait for long. The listener brings the ping; clients offer requests
// and wait; anybody may tell it to stop, which ends every wait, also that for the ping.
//
// Locks: "RemoteJVMClients" guards the list of clients. A leaf mutex guards what the ping brings: whether it
// is waited for and by which token, and the socket, which the thread alone takes away.
//
// The token is what makes a ping this JVM's: whoever shows it, and may bring the server, is believed to be
// the server's statistics. So each try has one of its own, that nobody can guess.
//
// Every request is finished once: 140 when there is no connection, 141 when it is lost, 169 past its time,
// 171 when the task ends, else as the JVM answers.

#include <atomic>
#include <memory>
#include <vector>

#include "platform/clock.h"
#include "platform/mutex.h"
#include "remote/remote_resource_manager.h"
#include "runtime/service_task.h"

class ZOVBuffer;
class ZOVRequest;
class ZOVResponse;
class ZOVTransportableData;

/// A request on the wire, with what comes for it. The client that made it waits for it.
class ZOVRemoteResourceManager::RemoteJVMSocketRequest : public RPXCollectionRequest {
 public:
  static constexpr unsigned long long Mask = 64;
  /// Of the samples of one request, in bytes of text; what brings more is broken off with 139.
  static constexpr std::size_t MaximumSampleBytes = 64 << 20;
  enum Answer { ResponseOnly, SamplesAndResponse };

  /// `timeout` in seconds; 0 is none.
  RemoteJVMSocketRequest(const ZOVRequest& wire, Answer answer, int timeout);
  ~RemoteJVMSocketRequest() override;

  const ZOVRequest& wire() const { return *_wire; }
  bool wantsSamples() const { return _answer == SamplesAndResponse; }
  void requestStarted(unsigned int connection);
  bool requestTimedOut() const;
  /// Takes the sample over; false when it is one too many.
  bool gotSample(std::unique_ptr<ZOVSample> sample);
  bool hasSamples() const { return _sampleBytes != 0; }
  /// Key 15 of a positive answer.
  void setValue(long long value) { _value = value; }
  long long value() const { return _value; }
  /// The number of the JVM's connection that it was sent on.
  unsigned int connection() const { return _connection; }

 private:
  const std::unique_ptr<const ZOVRequest> _wire;
  const Answer _answer;
  // The JVM's thread's until the request is complete, the client's then.
  std::size_t _sampleBytes = 0;
  long long _value = 0;
  unsigned int _connection = 0;
  ZOVClock::Steady _started{};
};

class ZOVRemoteResourceManager::RemoteJVM final : public ZOVServiceTask {
 public:
  using Client = std::shared_ptr<RemotePSIClient>;
  static constexpr int MaximumRetries = 10;

  RemoteJVM(ZOVRemoteResourceManager& manager, ZOVApplicationServerBase& server);
  ~RemoteJVM() override;

  void backgroundProcessing() override;
  /// Tells the thread to end, and wakes it out of whatever it waits in. Waits for nothing.
  void requestStop();
  void shutdown() override;

  // --- Any thread.
  unsigned int hash() const override { return _hashKey; }
  const RWCString& getRootDirectory() const { return _rootDirectory; }
  /// Messages speak of it: the root directory, or where there is none, the server.
  const RWCString& getName() const { return _rootDirectory.isNull() ? _serverName : _rootDirectory; }
  Server getServer() const { return _server.lock(); }  ///< null when it is gone
  /// Whether its server is gone, or has been disconnected for zovWaits().disconnectedSeconds, as far as those
  /// who asked have seen it. The manager's thread.
  bool isUnused();
  int getToken() const;  ///< of the present try
  /// The number of the present connection, of all that there have been; 0 without one.
  unsigned int connection() const { return _connection; }
  /// The tries begin afresh.
  void resetRetryCount() { _retryCount = 0; }

  // --- Clients.
  void definePSIClient(const Client& client);
  std::vector<Client> clients() const;

  // --- The listener's.
  bool isWaitingForPing(const ZOVPingRequest& ping) const;
  /// Takes the socket over when the ping is waited for.
  bool pingHasArrived(const std::shared_ptr<ZOVSocketConnection>& socket, const ZOVPingRequest& ping);

 protected:
  void threadEnded() override;

 private:
  using Request = RemoteJVMSocketRequest*;

  void turn();
  void processJVMSocketRequest();
  void pollForPendingRequests();
  void gotResponse(const ZOVResponse& response);
  void gotSample(std::unique_ptr<ZOVSample> sample);
  void removeTimedOutRequests();
  void complete(Request request, const ZOVReturnCode& code);
  Request searchPendingRequests(long long correlator) const;
  Request onlySampleRequest() const;

  bool isConnected();
  ZOVReturnCode recreate();
  ZOVReturnCode connectWithRemoteJVM();
  ZOVReturnCode askForJVM(ZOVApplicationServerBase& server);
  ZOVReturnCode waitForContact(ZOVClock::Steady asked);
  bool isContactPossible(unsigned int processId) const;
  bool expects(const ZOVPingRequest& ping) const ZOV_REQUIRES(_pingMutex);
  void assignToken();
  void setWaitingForPing();
  void noLongerInterestedInPing();
  bool getSocketIfAvailable();
  ZOVSocketConnection* socket() const;
  void handleBadSocketRC(const ZOVReturnCode& rc);
  void disconnected();

  ZOVRemoteResourceManager& _manager;
  const std::weak_ptr<ZOVApplicationServerBase> _server;
  const RWCString _rootDirectory;
  const RWCString _serverName;
  const unsigned int _hashKey;
  std::atomic<unsigned int> _connection{0};
  std::atomic<int> _retryCount{0};
  ZOVClock::Steady _lastConnected = ZOVClock::steady();  // the server; the manager's thread's alone

  mutable ZOVLock _clientLock{"RemoteJVMClients"};
  std::vector<Client> _clients ZOV_GUARDED_BY(_clientLock);

  mutable zov::Mutex _pingMutex;
  bool _waitingForPing ZOV_GUARDED_BY(_pingMutex) = false;
  int _token ZOV_GUARDED_BY(_pingMutex) = -1;
  std::shared_ptr<ZOVSocketConnection> _socket ZOV_GUARDED_BY(_pingMutex);  // null while not connected
  ZOVEvent _connectEvent;  // posted by the ping, and by a stop

  // The thread's alone. What is in hand stands here, so that a raise loses none of it.
  unsigned int _connectionsMade = 0;
  Server _serverInHand;
  Request _requestInHand = nullptr;
  std::vector<Request> _pendingRequests;  // sent and not yet answered
  std::unique_ptr<ZOVBuffer> _frame;
  std::unique_ptr<ZOVTransportableData> _message;
};
