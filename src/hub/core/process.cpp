#include "framework/process.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <memory>

#include "framework/table_manager.h"
#include "hub/core/process.h"
#include "hub/core/registry.h"
#include "hub/core/settings.h"
#include "hub/http/server.h"
#include "platform/clock.h"
#include "platform/trace.h"

static DGT1_Unit traceUnit("ZOVHPROC");

namespace {

// Made before main, so that ARQ_Shutdown finds it whenever a signal comes.
const int shutdownEvent = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);

std::atomic<std::uint16_t> servedPort{0};

/// One run of arkmain.
class Process {
 public:
  int run();

 private:
  void serve();
  void tryToListen();
  void stop();

  const ZOVHubSettings _settings = ZOVHubSettings::fromEnvironment();
  std::shared_ptr<ZOVHubHttp> _http;  // null while there is no port
  bool _saidThatPortIsTaken = false;
};

int Process::run() {
  if (shutdownEvent < 0) {
    DGT1_Printf(traceUnit, DGT1_ERROR, "No eventfd could be made; the framework does not start");
    return 1;
  }
  if (const auto loader = ZOVHubRegistry::instance().loader.load()) {
    const int code = loader();
    DGT1_Printf(traceUnit, DGT1_DETAIL, "The agent loader returned %d", code);
  }
  if (!_settings.serve) {
    DGT1_Printf(
        traceUnit, DGT1_MESSAGE, "%s",
        _settings.problem.empty() ? "ZOV_HUB_ADDRESS is off: no HTTP is served" : _settings.problem.c_str());
  }
  serve();
  stop();
  return 0;
}

void Process::serve() {
  for (;;) {
    if (_settings.serve && _http == nullptr) tryToListen();
    const ZOVHubLimits& limits = zovHubLimits();
    const int wait = !_settings.serve   ? -1
                     : _http == nullptr ? limits.bindRetryMilliseconds
                                        : limits.keepAliveMilliseconds;
    pollfd event{shutdownEvent, POLLIN, 0};
    const int ready = poll(&event, 1, wait);
    if (ready > 0) break;
    if (ready == 0 && _http != nullptr) _http->keepAlive();
  }
  eventfd_t value = 0;
  eventfd_read(shutdownEvent, &value);
  DGT1_Printf(traceUnit, DGT1_FLOW, "Shutdown was requested (%u)", value);
}

void Process::tryToListen() {
  auto http = std::make_shared<ZOVHubHttp>(_settings);
  const std::string wrong = http->start();
  if (wrong.empty()) {
    _http = std::move(http);
    servedPort = _http->port();
    DGT1_Printf(traceUnit, DGT1_MESSAGE, "HTTP is served at %s", _settings.url(_http->port()).c_str());
    return;
  }
  if (_saidThatPortIsTaken) return;
  _saidThatPortIsTaken = true;
  DGT1_Printf(traceUnit, DGT1_MESSAGE,
              "HTTP cannot be served: %s. It is tried again every %d seconds; ZOV_HUB_ADDRESS sets another "
              "address and port.",
              wrong.c_str(), zovHubLimits().bindRetryMilliseconds / 1000);
}

void Process::stop() {
  const auto deadline = ZOVClock::steady() + std::chrono::milliseconds(zovHubLimits().stopMilliseconds);
  servedPort = 0;
  if (_http != nullptr) _http->stop(deadline);
  for (TableManager* manager : ZOVHubRegistry::instance().managers()) manager->Shutdown(0);
  const int inside = ZOVHubVisit::await(std::chrono::milliseconds(0));
  if (inside > 0) {
    DGT1_Printf(traceUnit, DGT1_MESSAGE,
                "%d requests are still inside the agent and are left to end by themselves", inside);
  }
}

std::string textOf(const char* text) {
  return text == nullptr ? "" : text;
}

}  // namespace

std::uint16_t zovHubPort() {
  return servedPort;
}

int arkmain(int, char**) {
  return Process().run();
}

void ARQ_Shutdown(int how) {
  const int saved = errno;
  const eventfd_t value = how > 0 ? static_cast<eventfd_t>(how) : 1;
  eventfd_write(shutdownEvent, value);
  errno = saved;
}

int ARQ_AwaitRequests(int milliseconds) {
  return ZOVHubVisit::await(std::chrono::milliseconds(std::max(0, milliseconds)));
}

int ARQ_RegisterAgentLoader(int (*loader)()) {
  ZOVHubRegistry::instance().loader = loader;
  return 0;
}

int ARQ_SetSubsystemId(const char* id) {
  ZOVHubRegistry::instance().setSubsystemId(textOf(id));
  return 0;
}

const char* ARQ_GetSubsystemId() {
  return ZOVHubRegistry::instance().subsystemId();
}

int ARQ_SetVersionUsingProduct(const char* product, char* out, int size) {
  ZOVHubRegistry::instance().setProduct(textOf(product));
  if (out == nullptr || size <= 0) return 1;
  const std::size_t length =
      std::min(std::strlen(ZOVHubRegistry::version), static_cast<std::size_t>(size - 1));
  std::memcpy(out, ZOVHubRegistry::version, length);
  out[length] = '\0';
  return 0;
}

int ARQ_SetCurrency(int kind, int percent) {
  DGT1_Printf(traceUnit, DGT1_DETAIL, "Currency %d is %d", kind, percent);
  return 0;
}

int ARQ_SetAffinity(const char* affinity) {
  ZOVHubRegistry::instance().addAffinity(textOf(affinity));
  return 0;
}

int ARQ_RegisterCommandCallback(const char* prefix, long (*callback)(TqboxAutomationCapsule*)) {
  DGT1_Printf(traceUnit, DGT1_DETAIL, "Commands of %s have a callback", textOf(prefix).c_str());
  ZOVHubRegistry::instance().commandCallback = callback;
  return 0;
}

int ARQ_Subnode_Register_nAff(const char* name, const char* product, const char* version, int,
                              const char* affinity, const char* feature) {
  return ZOVHubRegistry::instance().queueSubnode(
             {textOf(name), textOf(product), textOf(version), textOf(affinity), textOf(feature)})
             ? 0
             : 1;
}

int ARQ_Subnode_Deregister(const char* name) {
  return ZOVHubRegistry::instance().queueSubnodeRemoval(textOf(name)) ? 0 : 1;
}

int ARQ_Subnode_SendRequest() {
  ZOVHubRegistry::instance().applySubnodes();
  return 0;
}
