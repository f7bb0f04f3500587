#include "remote/remote_resource_manager.h"

#include <algorithm>

#include "config/agent_config_parms.h"
#include "diag/agent_log.h"
#include "remote/remote_jvm.h"
#include "remote/remote_psi_client.h"
#include "runtime/environment.h"
#include "runtime/recovery.h"
#include "runtime/trace_scope.h"
#include "server/application_server_base.h"
#include "server/server_services.h"

static DGT1_Unit traceUnit("ZOVRRMGR");

namespace {

int configuredTimeout() {
  const ZOVAgentConfigParms* const parms = ZOVServerServices::current().getConfigParms();
  return parms ? parms->getSocketReceiveTimeout() : 0;
}

}  // namespace

/// Told by its class: the mask is that of a kind of sample, too.
class ZOVRemoteResourceManager::DefinePSIClientRequest : public RPXCollectionRequest {
 public:
  explicit DefinePSIClientRequest(ZOVApplicationServerBase* server)
      : RPXCollectionRequest(8, server, nullptr) {}
};

class ZOVRemoteResourceManager::LookAfterJVMsRequest : public RPXCollectionRequest {
 public:
  LookAfterJVMsRequest() : RPXCollectionRequest(0, nullptr, nullptr) {}
};

std::shared_ptr<ZOVResourceManagerProxy> ZOVResourceManagerProxy::getProxy() {
  static zov::Mutex mutex;
  static std::weak_ptr<ZOVResourceManagerProxy> present;
  const zov::MutexLock lock(mutex);
  std::shared_ptr<ZOVResourceManagerProxy> proxy = present.lock();
  if (!proxy) present = proxy = std::make_shared<ZOVRemoteResourceManager>();
  return proxy;
}

// --- A server and its client.

ZOVRemoteResourceManager::AppServer::AppServer(const Server& server, const RWCString& longName,
                                               const std::shared_ptr<RemotePSIClient>& client)
    : _server(server), _client(client) {
  DGT1_Printf(traceUnit, DGT1_DETAIL, "AppServer::AppServer FullServerName=%s, ServerLongName=%s",
              server->getName().data(), longName.data());
  setCollectionSuspended(server->isResourceDataCollectionSuspended());
}

/// By their ownership, so that no server is held for it.
bool ZOVRemoteResourceManager::AppServer::isOf(const ZOVApplicationServerBase& server) const {
  const auto other = server.weak_from_this();
  return !_server.owner_before(other) && !other.owner_before(_server);
}

void ZOVRemoteResourceManager::AppServer::setCollectionSuspended(bool suspended) {
  _suspended = suspended;
  _client->setCollectionSuspended(suspended);
}

// --- The manager.

ZOVRemoteResourceManager::ZOVRemoteResourceManager() : _socketReceiveTimeout(configuredTimeout()) {}

ZOVRemoteResourceManager::~ZOVRemoteResourceManager() {
  ZOV_TRACE(Public);
  ZOVRemoteResourceManager::shutdown();
}

void ZOVRemoteResourceManager::shutdown() {
  ZOV_TRACE(Public);
  requestShutdown();  // first, so that no further JVM comes into the table
  const JVMs jvms = holding(_lock, Exclusive, [this]() ZOV_REQUIRES(_lock) {
    JVMs all;
    for (auto& [root, jvm] : _remoteJVMs) all.push_back(std::move(jvm));
    _remoteJVMs.clear();
    return all;
  });
  end(jvms);
  ZOVResourceManagerProxy::shutdown();
}

/// All are told before any is waited for.
void ZOVRemoteResourceManager::end(const JVMs& jvms) {
  for (const auto& jvm : jvms) jvm->requestStop();
  for (const auto& jvm : jvms) jvm->shutdown();
}

ZOVRemoteResourceManager::JVMs ZOVRemoteResourceManager::remoteJVMs() {
  return holding(_lock, Shared, [this]() ZOV_REQUIRES_SHARED(_lock) {
    JVMs all;
    for (const auto& [root, jvm] : _remoteJVMs) all.push_back(jvm);
    return all;
  });
}

RWCString ZOVRemoteResourceManager::fixupClassName(const char* name) {
  std::string text(name ? name : "");
  std::ranges::replace(text, '/', '.');
  return RWCString(text);
}

// --- Requests.

ZOVReturnCode ZOVRemoteResourceManager::startProcessingForNobody(
    std::unique_ptr<RPXCollectionRequest> request) {
  request->setDeleteWhenDone();
  const ZOVReturnCode rc = startProcessing(*request);
  if (rc == ZOV_OK) static_cast<void>(request.release());
  return rc;
}

ZOVReturnCode ZOVRemoteResourceManager::createPSIClient(ZOVApplicationServerBase* server) {
  ZOV_TRACE(Public);
  return startProcessingForNobody(std::make_unique<DefinePSIClientRequest>(server));
}

void ZOVRemoteResourceManager::lookAfterJVMs() {
  ZOV_TRACE(Public);
  startProcessingForNobody(std::make_unique<LookAfterJVMsRequest>());
}

void ZOVRemoteResourceManager::serverIsEnding(ZOVApplicationServerBase* server) {
  ZOV_TRACE(Public);
  for (const auto& jvm : remoteJVMs()) {
    if (jvm->getServer().get() == server) jvm->requestStop();
  }
}

ZOVReturnCode ZOVRemoteResourceManager::process(RPXCollectionRequest* request,
                                                _ShouldMarkRequestComplete mark) {
  ZOV_TRACE(Public);
  ZOVReturnCode rc;
  bool passedOn = false;
  if (dynamic_cast<DefinePSIClientRequest*>(request)) {
    rc = processDefinePSIClientRequest(*request);
  } else if (dynamic_cast<LookAfterJVMsRequest*>(request)) {
    processLookAfterJVMsRequest();
  } else {
    rc = queueRequestToPSIClient(request);
    passedOn = rc == ZOV_OK;
  }
  if (!passedOn && mark == MarkComplete) request->finish(rc);
  return rc;
}

/// 0, and the request is the client's; else it is still the caller's.
ZOVReturnCode ZOVRemoteResourceManager::queueRequestToPSIClient(RPXCollectionRequest* request) {
  ZOV_TRACE(Private);
  const Server server = request->getServer();
  const std::shared_ptr<AppServer> entry = server ? findAppServer(*server) : nullptr;
  if (!entry) return ZOV_NO_SUCH_SERVER;
  if (entry->isCollectionSuspended()) return ZOV_RESOURCE_COLLECTION_SUSPENDED;
  entry->client()->offer(request);
  return ZOV_OK;
}

ZOVReturnCode ZOVRemoteResourceManager::processDefinePSIClientRequest(const RPXCollectionRequest& request) {
  ZOV_TRACE(Private);
  const Server server = request.getServer();
  if (!server) return ZOV_NO_SUCH_SERVER;
  removeEndingJVMs();
  makeRoomForSessions();
  return definePSIClient(*server);
}

/// 138 when a client exists, whose tries then begin afresh; 156 when the server has to wait for threads, or
/// for its former JVM to end.
ZOVReturnCode ZOVRemoteResourceManager::definePSIClient(ZOVApplicationServerBase& server) {
  ZOV_TRACE(Private);
  std::shared_ptr<RemoteJVM> jvm = findJVM(server);
  if (jvm && jvm->isShutdownRequested()) return defineLater(server);
  if (const auto client = jvm ? findPSIClient(*jvm, server) : nullptr) {
    client->resetRetryCount();
    jvm->resetRetryCount();
    if (!client->hasClientId()) client->ask(EnumerateServersMask, nullptr);
    return ZOV_CLIENT_EXISTS;
  }
  const bool mayStart = zov::ServerStatistics::mayStartThreads();
  if (!jvm && mayStart) jvm = startJVM(server);
  if (jvm && mayStart) {
    const auto client = std::make_shared<RemotePSIClient>(*this, *jvm);
    jvm->definePSIClient(client);
    if (client->startBackgroundThread() != 0) return ZOV_OK;
    jvm->requestStop();
  }
  return waitForThreads(server);
}

ZOVReturnCode ZOVRemoteResourceManager::waitForThreads(ZOVApplicationServerBase& server) {
  ZOV_FUNCTION;
  if (isShutdownRequested()) return ZOV_TASK_SHUTTING_DOWN;
  if (_noThreadRate.admit()) ZOV_LOG_ERROR(ZOVA0176W, server.getName());
  return defineLater(server);
}

ZOVReturnCode ZOVRemoteResourceManager::defineLater(ZOVApplicationServerBase& server) {
  const auto isServer = [&](const auto& waiting) { return waiting.lock().get() == &server; };
  if (std::ranges::none_of(_waiting, isServer)) _waiting.push_back(server.weak_from_this());
  return ZOV_NO_SUBTASK;
}

void ZOVRemoteResourceManager::defineWaiting() {
  ZOV_FUNCTION;
  for (std::size_t left = _waiting.size(); left > 0; --left) {
    const Server server = _waiting.front().lock();
    _waiting.pop_front();
    if (server && server->getStatus() == ServerConnected)
      guarded(ZOV_PLACE, [&] { definePSIClient(*server); });
  }
}

std::shared_ptr<ZOVRemoteResourceManager::RemoteJVM> ZOVRemoteResourceManager::findJVM(
    const ZOVApplicationServerBase& server) {
  return holding(_lock, Shared, [&]() ZOV_REQUIRES_SHARED(_lock) -> std::shared_ptr<RemoteJVM> {
    const auto found = _remoteJVMs.find(server.getServerRootDirectory().str());
    return found == _remoteJVMs.end() ? nullptr : found->second;
  });
}

/// Null when its thread cannot be started.
std::shared_ptr<ZOVRemoteResourceManager::RemoteJVM> ZOVRemoteResourceManager::startJVM(
    ZOVApplicationServerBase& server) {
  ZOV_TRACE(Private);
  auto jvm = std::make_shared<RemoteJVM>(*this, server);
  const bool taken = holding(_lock, Exclusive, [&]() ZOV_REQUIRES(_lock) {
    return !isShutdownRequested() &&
           _remoteJVMs.try_emplace(server.getServerRootDirectory().str(), jvm).second;
  });
  if (!taken) return nullptr;
  return jvm->startBackgroundThread() != 0 ? jvm : nullptr;
}

std::shared_ptr<ZOVRemoteResourceManager::RemotePSIClient> ZOVRemoteResourceManager::findPSIClient(
    const RemoteJVM& jvm, const ZOVApplicationServerBase& server) {
  if (const auto entry = findAppServer(server); entry && &entry->client()->jvm() == &jvm) {
    return entry->client();
  }
  const auto clients = jvm.clients();
  return holding(_lock, Shared, [&]() ZOV_REQUIRES_SHARED(_lock) -> std::shared_ptr<RemotePSIClient> {
    for (const auto& client : clients) {
      if (std::ranges::find(_appServers, client, &AppServer::client) == _appServers.end()) return client;
    }
    return nullptr;
  });
}

// --- Threads.

void ZOVRemoteResourceManager::processLookAfterJVMsRequest() {
  ZOV_TRACE(Private);
  removeEndingJVMs();
  makeRoomForSessions();
  defineWaiting();
}

/// Those that are unused are told to end; those that have ended leave the table. None is waited for.
void ZOVRemoteResourceManager::removeEndingJVMs() {
  ZOV_TRACE(Private);
  for (const auto& jvm : remoteJVMs()) {
    if (!jvm->isShutdownRequested() && jvm->isUnused()) jvm->requestStop();
  }
  const JVMs ended = holding(_lock, Exclusive, [this]() ZOV_REQUIRES(_lock) {
    JVMs found;
    std::erase_if(_remoteJVMs, [&](const auto& member) {
      if (member.second->isThreadRunning()) return false;
      found.push_back(member.second);
      return true;
    });
    return found;
  });
  end(ended);
  for (const auto& jvm : ended) {
    if (const Server server = jvm->getServer()) server->requestRPXMonitorThreadToStop();
  }
}

/// Ends JVMs, first such as are not connected, when sessions have used what is kept for them by half.
void ZOVRemoteResourceManager::makeRoomForSessions() {
  constexpr int LeastRoom = ZOVThreadTable::KeptForSessions / 2;
  constexpr int ThreadsOfJVM = 2;  // its own, and its client's
  ZOVAgentEnvironment* const environment = ZOVAgentEnvironment::pEnvironment;
  int room = environment ? environment->threadTable().room() : LeastRoom;
  if (room >= LeastRoom) return;
  JVMs jvms = remoteJVMs();
  const auto running =
      std::partition(jvms.begin(), jvms.end(), [](const auto& jvm) { return jvm->isShutdownRequested(); });
  room += ThreadsOfJVM * static_cast<int>(running - jvms.begin());
  jvms.erase(jvms.begin(), running);
  std::partition(jvms.begin(), jvms.end(), [](const auto& jvm) { return jvm->connection() == 0; });
  for (const auto& jvm : jvms) {
    if (room >= LeastRoom) return;
    jvm->requestStop();
    room += ThreadsOfJVM;
    if (const Server server = jvm->getServer()) waitForThreads(*server);
  }
}

// --- Servers and their clients.

std::shared_ptr<ZOVRemoteResourceManager::AppServer> ZOVRemoteResourceManager::findAppServer(
    const ZOVApplicationServerBase& server) {
  return holding(_lock, Shared, [&]() ZOV_REQUIRES_SHARED(_lock) -> std::shared_ptr<AppServer> {
    for (const auto& entry : _appServers) {
      if (entry->isOf(server)) return entry;
    }
    return nullptr;
  });
}

ZOVReturnCode ZOVRemoteResourceManager::setSuspended(const ZOVApplicationServerBase& server, bool suspended) {
  const auto entry = findAppServer(server);
  if (!entry) return ZOV_NO_RESOURCE_MANAGER;
  entry->setCollectionSuspended(suspended);
  return ZOV_OK;
}

ZOVReturnCode ZOVRemoteResourceManager::suspendCollectingResourceData(ZOVApplicationServerBase* server) {
  ZOV_TRACE(Public);
  return setSuspended(*server, true);
}

ZOVReturnCode ZOVRemoteResourceManager::resumeCollectingResourceData(ZOVApplicationServerBase* server) {
  ZOV_TRACE(Public);
  return setSuspended(*server, false);
}

void ZOVRemoteResourceManager::removeAppServersRelatedToClient(const RemotePSIClient& client) {
  ZOV_TRACE(Public);
  std::vector<Server> servers;  // let go of behind the lock
  holding(_lock, Exclusive, [&]() ZOV_REQUIRES(_lock) {
    std::erase_if(_appServers, [&](const std::shared_ptr<AppServer>& entry) {
      if (entry->client().get() != &client) return false;
      entry->setCollectionSuspended(false);
      servers.push_back(entry->getServer());
      return true;
    });
    for (const Server& server : servers) {
      if (server) server->disconnectedFromResourceManager();
    }
  });
}

void ZOVRemoteResourceManager::notifyAppServersAreConnected(const RemotePSIClient& client) {
  ZOV_TRACE(Public);
  std::vector<Server> servers;  // let go of behind the lock
  holding(_lock, Shared, [&]() ZOV_REQUIRES_SHARED(_lock) {
    for (const auto& entry : _appServers) {
      if (entry->client().get() == &client) servers.push_back(entry->getServer());
    }
    for (const Server& server : servers) {
      if (server) server->connectedWithResourceManager();
    }
  });
}

ZOVReturnCode ZOVRemoteResourceManager::handleAppServerSamples(
    const SampleList& samples, const std::shared_ptr<RemotePSIClient>& client) {
  ZOV_TRACE(Public);
  ZOVReturnCode rc;
  for (const auto& sample : samples) {
    if (sample->getSampleType() != ZOVSample::SampleTypePSI) return ZOV_UNEXPECTED_DATA;
    const RWCString& text = sample->getStringData(zov::key::statistics_text);
    DGT1_Printf(traceUnit, DGT1_DETAIL, "pSampleText=%s.", text.data());
    const AppServerDescription description = parseAppServerSample(text.data());
    // Outside of the frame, which a raise may cut.
    Server server =
        ZOVServerServices::current().findServer(description.serverName, client->jvm().getRootDirectory());
    if (!server) server = client->jvm().getServer();
    if (!server) return ZOV_NO_SUCH_SERVER;
    const auto failure = guarded(ZOV_PLACE, [&] {
      handleAppServerSample(description, server, client);
      rc = refreshNameCache(server.get());
    });
    if (failure) rc = failure->getReturnCode();
  }
  return rc;
}

void ZOVRemoteResourceManager::handleAppServerSample(const AppServerDescription& description,
                                                     const Server& server,
                                                     const std::shared_ptr<RemotePSIClient>& client) {
  ZOV_TRACE(Private);
  holding(_lock, Exclusive, [&]() ZOV_REQUIRES(_lock) {
    // A connection that is lost meanwhile takes the client's entries away under this lock, after its end.
    if (isShutdownRequested() || !client->hasClientId()) return;
    for (const auto& known : _appServers) {
      if (known->isOf(*server)) return;
    }
    _appServers.push_back(std::make_shared<AppServer>(server, description.serverName, client));
    server->connectedWithResourceManager();
  });
  DGT1_Printf(traceUnit, DGT1_DETAIL, "Connected AppServer. DCResourceManagerProcessID: %d",
              description.processId);
  server->startRPXMonitorThread();
  server->setDCResourceManagerProcessId(description.processId);
  server->setLogFile(description.logFile.view());
  server->setErrLogFile(description.errorLogFile.view());
  server->setVerboseGCLogFile(description.verboseGCLogFile.view());
  server->setAppServerStartTime(description.startTime);
  if (!description.cluster.isNull()) server->setClusterName(description.cluster.view());
  if (!description.nodeName.isNull()) server->setTSLNodeName(description.nodeName.view());
  if (!description.cellName.isNull()) server->setTSLCellName(description.cellName.view());
}

// --- What is asked for without anybody waiting.

ZOVReturnCode ZOVRemoteResourceManager::enumerateApplicationServers() {
  ZOV_TRACE(Public);
  processLookAfterJVMsRequest();
  askAllClients(EnumerateServersMask, true);
  return ZOV_OK;
}

ZOVReturnCode ZOVRemoteResourceManager::pingApplicationServers(ZOVApplicationServerBase* server) {
  ZOV_TRACE(Public);
  if (server) return askForServer(PingServersMask, *server);
  processLookAfterJVMsRequest();
  askAllClients(PingServersMask, false);
  return ZOV_OK;
}

ZOVReturnCode ZOVRemoteResourceManager::refreshNameCache(ZOVApplicationServerBase* server) {
  ZOV_TRACE(Public);
  if (server) return askForServer(RefreshNamesMask, *server);
  askAllClients(RefreshNamesMask, false);
  return ZOV_OK;
}

ZOVReturnCode ZOVRemoteResourceManager::askForServer(unsigned long long mask,
                                                     ZOVApplicationServerBase& server) {
  const auto entry = findAppServer(server);
  if (!entry) return ZOV_NO_SUCH_SERVER;
  if (entry->isCollectionSuspended()) return ZOV_RESOURCE_COLLECTION_SUSPENDED;
  entry->client()->ask(mask, &server);
  return ZOV_OK;
}

void ZOVRemoteResourceManager::askAllClients(unsigned long long mask, bool alsoSuspended) {
  for (const auto& jvm : remoteJVMs()) {
    for (const auto& client : jvm->clients()) {
      if (alsoSuspended || !client->isCollectionSuspended()) client->ask(mask, nullptr);
    }
  }
}

// --- Pings.

int ZOVRemoteResourceManager::isThisPingExpected(const ZOVPingRequest& ping, const zov::Peer& peer) {
  ZOV_TRACE(Public);
  for (const auto& jvm : remoteJVMs()) {
    if (!jvm->isWaitingForPing(ping)) continue;
    const Server server = jvm->getServer();
    if (!server) return 0;
    const ZOVReturnCode code = server->admit(peer);
    return code == ZOV_OK ? 1 : static_cast<int>(code);
  }
  return 0;
}

int ZOVRemoteResourceManager::takeRemotePSISocket(const std::shared_ptr<ZOVSocketConnection>& socket,
                                                  const ZOVPingRequest& ping) {
  ZOV_TRACE(Public);
  return std::ranges::any_of(remoteJVMs(),
                             [&](const auto& jvm) { return jvm->pingHasArrived(socket, ping); });
}
