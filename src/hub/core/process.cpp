#include "framework/process.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>

#include "framework/table_manager.h"
#include "hub/core/front_door.h"
#include "hub/core/process.h"
#include "hub/core/registry.h"
#include "hub/core/settings.h"
#include "hub/core/visit.h"
#include "platform/service_manager.h"
#include "platform/trace.h"

static DGT1_Unit traceUnit("ZOVHPROC");

namespace zov::hub {
namespace {

// Made before main, so that a signal's handler finds them whenever it runs.
const int shutdownEvent = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
const int reloadEvent = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);

std::atomic<std::uint16_t> portNow{0};

/// Safe in a signal handler.
void post(int event, eventfd_t value) {
  const int saved = errno;
  eventfd_write(event, value);
  errno = saved;
}

std::string status() {
  const auto agent = Registry::instance().status.load();
  return agent == nullptr ? "" : agent();
}

/// The shorter of two waits; -1 is no end.
int shorterWait(int one, int other) {
  return one < 0 || (other >= 0 && other < one) ? other : one;
}

/// One run of arkmain, on its thread.
class Process {
 public:
  int run();

 private:
  void serve();
  void tryToListen();
  int nextRound();
  void reload();
  void stop();

  const Settings _settings = Settings::fromEnvironment(Registry::instance().identity().directory);
  std::unique_ptr<FrontDoor> _door;  // null while there is no port
  bool _saidThatPortIsTaken = false;
  ServiceManager _manager;
};

int Process::run() {
  if (shutdownEvent < 0 || reloadEvent < 0) {
    DGT1_Printf(traceUnit, DGT1_ERROR, "No eventfd could be made; the framework does not start");
    return 1;
  }
  if (const auto loader = Registry::instance().loader.load()) {
    const int code = loader();
    DGT1_Printf(traceUnit, DGT1_DETAIL, "The agent loader returned %d", code);
  }
  metricsChoice() = MetricsChoice::read();
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
  if (_settings.serve) tryToListen();
  _manager.ready();
  for (;;) {
    pollfd events[] = {{shutdownEvent, POLLIN, 0},
                       {reloadEvent, POLLIN, 0},
                       {_door == nullptr ? -1 : _door->descriptor(), POLLIN, 0}};
    if (poll(events, std::size(events), nextRound()) > 0) {
      if (events[0].revents != 0) break;
      if (events[1].revents != 0) reload();
    }
    if (_settings.serve && _door == nullptr) tryToListen();
  }
  eventfd_t value = 0;
  eventfd_read(shutdownEvent, &value);
  DGT1_Printf(traceUnit, DGT1_FLOW, "Shutdown was requested (%u)", value);
}

/// Does what is due, and answers the milliseconds until something is again.
int Process::nextRound() {
  const int door = !_settings.serve   ? -1
                   : _door == nullptr ? limits().bindRetryMilliseconds
                                      : _door->attend();
  return shorterWait(_manager.attend(&status), door);
}

void Process::reload() {
  eventfd_t value = 0;
  eventfd_read(reloadEvent, &value);
  _manager.reloading();
  if (const auto agent = Registry::instance().reload.load()) agent();
  _manager.ready();
}

void Process::tryToListen() {
  auto door = makeFrontDoor(_settings);
  const std::string wrong = door->start();
  if (wrong.empty()) {
    _door = std::move(door);
    portNow = _door->port();
    DGT1_Printf(traceUnit, DGT1_MESSAGE, "HTTP is served at %s", _settings.url(_door->port()).c_str());
    if (!_settings.kept.problem.empty()) {
      DGT1_Printf(
          traceUnit, DGT1_MESSAGE,
          "Actions are refused, since there is no token for them: %s. Remove the file, and a new one is "
          "made at the next start; or set ZOV_HUB_TOKEN.",
          _settings.kept.problem.c_str());
    }
    return;
  }
  if (_saidThatPortIsTaken) return;
  _saidThatPortIsTaken = true;
  DGT1_Printf(traceUnit, DGT1_MESSAGE,
              "HTTP cannot be served: %s. It is tried again every %d seconds; ZOV_HUB_ADDRESS sets another "
              "address and port.",
              wrong.c_str(), limits().bindRetryMilliseconds / 1000);
}

void Process::stop() {
  _manager.stopping();
  const auto deadline = ZOVClock::steady() + std::chrono::milliseconds(limits().stopMilliseconds);
  portNow = 0;
  if (_door != nullptr) _door->stop(deadline);
  for (TableManager* manager : Registry::instance().managers()) manager->Shutdown(0);
  const int inside = Visit::await(ZOVClock::steady());
  if (inside > 0) {
    DGT1_Printf(traceUnit, DGT1_MESSAGE,
                "%d requests are still inside the agent and are left to end by themselves", inside);
  }
}

}  // namespace

std::uint16_t servedPort() {
  return portNow;
}

}  // namespace zov::hub

int arkmain(int, char**) {
  return zov::hub::Process().run();
}

void ARQ_Shutdown(int how) {
  zov::hub::post(zov::hub::shutdownEvent, how > 0 ? static_cast<eventfd_t>(how) : 1);
}

void zov::requestReload() {
  hub::post(hub::reloadEvent, 1);
}

int ARQ_AwaitRequests(int milliseconds) {
  return zov::hub::Visit::await(ZOVClock::steady() + std::chrono::milliseconds(std::max(0, milliseconds)));
}
