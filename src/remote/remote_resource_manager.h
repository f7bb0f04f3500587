#pragma once
// ZOVRemoteResourceManager: the resource manager that gets the servers' own statistics from JVMs beside them.
// Such a JVM is started by the collector in a server and calls back (remote_jvm.h); in it are clients, which
// ask it for descriptions of servers and for their statistics (remote_psi_client.h). A JVM serves the servers
// of one root directory. This class knows the JVMs, and by which client each server is served.
//
// Ownership. The manager shares its JVMs with whoever is just using one, and a JVM its clients; both refer to
// the manager, which outlives their threads. Servers are held weakly, and for the length of a turn: none is
// kept alive, and one that is gone answers 7 or 140. A server's own statistics thread holds none at all, so
// that it never has to wait for itself.
//
// Threads: its own task's, those of JVMs and clients, the listener's (pings), and any that queries or
// commands. Each of them goes on whatever another waits for: no wait is made with a lock held.
//
// Threads are a budget (ZOVThreadTable): sessions come first. A server for whose statistics there are none
// waits for them, and JVMs are ended while sessions could lack theirs. What is of no use holds none: a JVM
// that has given up, or whose server has been disconnected for long.
//
// Lock: "ResourceManager" guards both tables. It comes before a JVM's client lock, and none of a server is
// taken or held under it. Servers are told under it whether they are connected, so that they are told in the
// order in which it happened.

#include <deque>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/message_rate.h"
#include "samples/sample_classes.h"
#include "server/resource_manager_proxy.h"

class ZOVRemoteResourceManager final : public ZOVResourceManagerProxy {
 public:
  class RemoteJVM;
  class RemotePSIClient;
  class RemoteJVMSocketRequest;
  class DefinePSIClientRequest;
  class LookAfterJVMsRequest;
  using Server = std::shared_ptr<ZOVApplicationServerBase>;
  using SampleList = std::vector<std::unique_ptr<ZOVSample>>;

  /// What requests of the timers and of handleAppServerSamples ask their client for.
  static constexpr unsigned long long EnumerateServersMask = 0x100ULL << 32;
  static constexpr unsigned long long PingServersMask = 0x10000;
  static constexpr unsigned long long RefreshNamesMask = 0x200ULL << 32;

  /// A server and the client that serves it. Shared; what can change is atomic.
  class AppServer {
   public:
    AppServer(const Server& server, const RWCString& longName,
              const std::shared_ptr<RemotePSIClient>& client);

    bool isOf(const ZOVApplicationServerBase& server) const;
    Server getServer() const { return _server.lock(); }  ///< null when it is gone
    const std::shared_ptr<RemotePSIClient>& client() const { return _client; }
    void setCollectionSuspended(bool suspended);
    bool isCollectionSuspended() const { return _suspended; }

   private:
    const std::weak_ptr<ZOVApplicationServerBase> _server;
    const std::shared_ptr<RemotePSIClient> _client;
    std::atomic<bool> _suspended{false};
  };

  ZOVRemoteResourceManager();
  ~ZOVRemoteResourceManager() override;
  /// Ends all JVMs and clients, and then the task.
  void shutdown() override;

  // --- For servers and the listener.
  ZOVReturnCode createPSIClient(ZOVApplicationServerBase* server) override;
  void serverIsEnding(ZOVApplicationServerBase* server) override;
  int isThisPingExpected(const ZOVPingRequest& ping, const zov::Peer& peer) override;
  int takeRemotePSISocket(const std::shared_ptr<ZOVSocketConnection>& socket,
                          const ZOVPingRequest& ping) override;
  /// 177 when no client serves the server.
  ZOVReturnCode suspendCollectingResourceData(ZOVApplicationServerBase* server) override;
  ZOVReturnCode resumeCollectingResourceData(ZOVApplicationServerBase* server) override;

  // --- For the task, and for clients.
  ZOVReturnCode enumerateApplicationServers() override;
  ZOVReturnCode pingApplicationServers(ZOVApplicationServerBase* server) override;
  ZOVReturnCode refreshNameCache(ZOVApplicationServerBase* server) override;
  /// 7 for a server that no client serves, 178 for a suspended one; else the client has it.
  ZOVReturnCode process(RPXCollectionRequest* request, _ShouldMarkRequestComplete mark) override;

  // --- For JVMs and clients.
  /// Has the task look which JVMs have ended, and who waits for threads. Waits for nothing.
  void lookAfterJVMs();
  int socketReceiveTimeout() const { return _socketReceiveTimeout; }  ///< seconds; 0 is no limit
  /// Tells servers what the client's descriptions say of them, and joins those to the client that are new.
  /// The answer for the last one; 139 when a sample is none. On the client's thread.
  ZOVReturnCode handleAppServerSamples(const SampleList& samples,
                                       const std::shared_ptr<RemotePSIClient>& client);
  void removeAppServersRelatedToClient(const RemotePSIClient& client);
  void notifyAppServersAreConnected(const RemotePSIClient& client);
  /// Null when no client serves the server.
  std::shared_ptr<AppServer> findAppServer(const ZOVApplicationServerBase& server);

  /// A copy with each "/" made ".".
  static RWCString fixupClassName(const char* name);

 private:
  using JVMs = std::vector<std::shared_ptr<RemoteJVM>>;

  ZOVReturnCode startProcessingForNobody(std::unique_ptr<RPXCollectionRequest> request);
  ZOVReturnCode processDefinePSIClientRequest(const RPXCollectionRequest& request);
  ZOVReturnCode definePSIClient(ZOVApplicationServerBase& server);
  /// The JVM's client that serves the server, or one that serves none yet; null when there is neither.
  std::shared_ptr<RemotePSIClient> findPSIClient(const RemoteJVM& jvm,
                                                 const ZOVApplicationServerBase& server);
  std::shared_ptr<RemoteJVM> findJVM(const ZOVApplicationServerBase& server);
  std::shared_ptr<RemoteJVM> startJVM(ZOVApplicationServerBase& server);
  void processLookAfterJVMsRequest();
  void makeRoomForSessions();
  ZOVReturnCode waitForThreads(ZOVApplicationServerBase& server);
  ZOVReturnCode defineLater(ZOVApplicationServerBase& server);
  void defineWaiting();
  ZOVReturnCode queueRequestToPSIClient(RPXCollectionRequest* request);
  ZOVReturnCode askForServer(unsigned long long mask, ZOVApplicationServerBase& server);
  void askAllClients(unsigned long long mask, bool alsoSuspended);
  void handleAppServerSample(const AppServerDescription& description, const Server& server,
                             const std::shared_ptr<RemotePSIClient>& client);
  ZOVReturnCode setSuspended(const ZOVApplicationServerBase& server, bool suspended);
  JVMs remoteJVMs();
  void removeEndingJVMs();
  static void end(const JVMs& jvms);

  ZOVLock _lock{"ResourceManager"};
  /// By root directory.
  std::unordered_map<std::string, std::shared_ptr<RemoteJVM>> _remoteJVMs ZOV_GUARDED_BY(_lock);
  std::vector<std::shared_ptr<AppServer>> _appServers ZOV_GUARDED_BY(_lock);
  const int _socketReceiveTimeout;

  // The task's thread's alone.
  std::deque<std::weak_ptr<ZOVApplicationServerBase>>
      _waiting;  // each once; for threads, or for a JVM to end
  zov::MessageRate _noThreadRate{1, std::chrono::minutes(1)};
};
