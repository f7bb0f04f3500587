#include "context/session_directory.h"

#include "collectors/product_event_collector.h"
#include "diag/agent_log.h"
#include "platform/message_rate.h"
#include "runtime/environment.h"
#include "runtime/time.h"
#include "runtime/trace_scope.h"
#include "server/application_server.h"
#include "server/resource_manager_proxy.h"
#include "server/server_services.h"

static DGT1_Unit traceUnit("ZOVSESDR");

namespace zov {

namespace {

RWCString nameIn(const ZOVPingRequest& ping) {
  return ZOVApplicationContext::cleaned(ping.getAppServerName().view());
}

RWCString rootIn(const ZOVPingRequest& ping) {
  return ZOVApplicationContext::cleaned(ping.getServerRootDirectory().view());
}

}  // namespace

/// Of a peer on this host the user must be known; of another host nobody can be, so a list of users shuts it
/// out.
ZOVReturnCode ContextSessionDirectory::admit(const Greeting& greeting) {
  ZOV_TRACE(Public);
  const Peer& peer = greeting.peer();
  const bool admitted = peer.user ? _users.admits(*peer.user) : !peer.onThisHost && _users.isEverybody();
  if (admitted) return ZOV_OK;
  ZOV_LOG_ERROR(ZOVA0171E, greeting.ping().getAppServerName(), peer.text().c_str());
  return ZOV_PING_NOT_EXPECTED;
}

ZOVReturnCode ContextSessionDirectory::findServer(const Greeting& greeting,
                                                  std::shared_ptr<ZOVApplicationServer>& server) {
  ZOV_TRACE(Public);
  _context.waitUntilRead();
  const ZOVPingRequest& ping = greeting.ping();
  server = _context.findAppServer(nameIn(ping), rootIn(ping));
  return server ? server->admit(greeting.peer()) : ZOVReturnCode(ZOV_NOT_MATCHING_PING);
}

ZOVReturnCode ContextSessionDirectory::defineNewServer(const Greeting& greeting,
                                                       std::shared_ptr<ZOVApplicationServer>& server) {
  ZOV_TRACE(Public);
  const ZOVPingRequest& ping = greeting.ping();
  // Each server costs a line of the file for good and a thread while it is connected, and a peer can think of
  // any number of names.
  ZOVAgentEnvironment* const environment = ZOVAgentEnvironment::pEnvironment;
  if (environment && !environment->threadTable().hasRoom()) {
    if (_noThreadRate.admit()) ZOV_LOG_ERROR(ZOVA0177E, ping.getAppServerName());
    return ZOV_NO_SUBTASK;
  }
  if (_context.getAppServers().size() >= MaximumServers) {
    DGT1_PrintfLimited(
        traceUnit, DGT1_ERROR,
        "Application server %s is refused: %i servers are known, and no more are taken. RemSubNode "
        "forgets those that are gone.",
        ping.getAppServerName().data(), MaximumServers);
    return ZOV_OUT_OF_STORAGE;
  }
  ZOVReturnCode rc;
  const ServerDescription description{.name = nameIn(ping),
                                      .rootDirectory = rootIn(ping),
                                      .workingDirectory = ping.getWorkingDirectory(),
                                      .platform = ping.getAliasName(),
                                      .locale = ping.getLocaleName(),
                                      .owner = greeting.peer().user,
                                      .status = ServerConnected};
  server = ZOVApplicationServer::buildNew(description, rc);
  if (server) _context.defineNewAppServer(server, true);
  return rc;
}

ZOVReturnCode ContextSessionDirectory::beginSession(ZOVApplicationServer& server,
                                                    const std::shared_ptr<Greeting>& greeting) {
  return server.greet(greeting);
}

int ContextSessionDirectory::isThisPingExpected(const Greeting& greeting) {
  ZOV_TRACE(Public);
  if (const ZOVReturnCode code = admit(greeting); code != ZOV_OK) return static_cast<int>(code);
  const auto manager = ZOVServerServices::current().resourceManager();
  return manager ? manager->isThisPingExpected(greeting.ping(), greeting.peer()) : 0;
}

bool ContextSessionDirectory::takeRemotePSISocket(const std::shared_ptr<ZOVSocketConnection>& connection,
                                                  const ZOVPingRequest& ping) {
  const auto manager = ZOVServerServices::current().resourceManager();
  return manager && manager->takeRemotePSISocket(connection, ping);
}

void ContextSessionDirectory::stopProfilerMonitorThreads() {
  ZOV_TRACE(Public);
  // Without the context's lock: the threads may want it.
  for (const auto& server : _context.getAppServers()) server->stopProfilerMonitorThread(true);
}

void ContextSessionDirectory::shutDownServerSockets() {
  ZOV_TRACE(Public);
  // The threads are told too: a poll that brought much is saved for seconds, with no socket to be woken from.
  _context.forEachAppServer([](const ZOVApplicationContext::Server& server) {
    server->requestThreadsToStop();
    return false;
  });
}

void ContextSessionDirectory::writeProductEvent(const char* file, const char* function, int line,
                                                const char* text) {
  ZOV_TRACE(Public);
  ZOVAgentEnvironment* const environment = ZOVAgentEnvironment::pEnvironment;
  if (!environment || !_eventRate.admit()) return;
  struct tm now {};
  ZOVTime::currentTime().extract(&now);
  environment->productEventCollector().postProductEvent(file, function, line, &now,
                                                        static_cast<int>(ZOVMessageSeverity::E), text);
}

}  // namespace zov
