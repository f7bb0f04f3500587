#include "platform/service_manager.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstddef>
#include <cstring>
#include <optional>
#include <utility>
#include <vector>

#include "platform/mutex.h"
#include "platform/services.h"
#include "platform/trace.h"

static DGT1_Unit traceUnit("ZOVPSRVM");

namespace zov {

namespace {

using std::chrono::milliseconds;
constexpr milliseconds betweenStatuses{10'000};
constexpr milliseconds shortestPeriod{10};

struct VitalLoops {
  Mutex mutex;
  std::vector<VitalLoop*> beating ZOV_GUARDED_BY(mutex);
};

VitalLoops& vitalLoops() {
  static auto* const loops = new VitalLoops;  // threads may outlive the static objects
  return *loops;
}

/// A whole number above 0.
std::optional<long long> numberOf(const char* variable) {
  const std::string_view text = OSL1_GetEnv(variable, "");
  long long number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size() || number <= 0) return std::nullopt;
  return number;
}

}  // namespace

void VitalLoop::beat(std::chrono::seconds longestWait) {
  VitalLoops& loops = vitalLoops();
  const MutexLock lock(loops.mutex);
  if (std::ranges::find(loops.beating, this) == loops.beating.end()) loops.beating.push_back(this);
  _due = ZOVClock::steady() + longestWait + Patience;
}

void VitalLoop::rest() {
  VitalLoops& loops = vitalLoops();
  const MutexLock lock(loops.mutex);
  std::erase(loops.beating, this);
}

const char* VitalLoop::standingStill() {
  VitalLoops& loops = vitalLoops();
  const MutexLock lock(loops.mutex);
  const auto now = ZOVClock::steady();
  const auto still =
      std::ranges::find_if(loops.beating, [&](const VitalLoop* loop) { return loop->_due < now; });
  return still == loops.beating.end() ? nullptr : (*still)->_name;
}

ServiceManager::ServiceManager() : _socket(OSL1_GetEnv("NOTIFY_SOCKET", "")), _period(betweenStatuses) {
  const auto microseconds = numberOf("WATCHDOG_USEC");
  const auto process = numberOf("WATCHDOG_PID");  // of the one who is watched: children inherit the variables
  _watched = microseconds && (!process || *process == ::getpid());
  if (_watched) _period = std::clamp(milliseconds(*microseconds / 1000 / 4), shortestPeriod, betweenStatuses);
}

void ServiceManager::ready() {
  send("READY=1");
}

void ServiceManager::reloading() {
  send("RELOADING=1");
}

void ServiceManager::stopping() {
  send("STOPPING=1\nSTATUS=Stopping");
}

int ServiceManager::attend(std::string (*status)()) {
  if (_socket.empty()) return -1;
  const auto now = ZOVClock::steady();
  if (now >= _next) {
    _next = now + _period;
    if (std::string line = status(); line != _status) {
      _status = std::move(line);
      send("STATUS=" + _status);
    }
    if (_watched) feed();
  }
  return static_cast<int>(std::chrono::ceil<milliseconds>(_next - now).count());
}

void ServiceManager::feed() {
  const char* const still = VitalLoop::standingStill();
  if (still == nullptr) {
    _stillTold = false;
    return send("WATCHDOG=1");
  }
  if (std::exchange(_stillTold, true)) return;
  DGT1_Printf(
      traceUnit, DGT1_ERROR,
      "The loop of %s stands still. The watchdog is not fed until it goes on, and may start the agent anew.",
      still);
}

void ServiceManager::send(std::string_view message) {
  if (_socket.empty()) return;
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  int code = ENAMETOOLONG;
  if (_socket.size() < sizeof address.sun_path) {
    _socket.copy(address.sun_path, _socket.size());
    if (_socket.front() == '@') address.sun_path[0] = '\0';  // a name without a file
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + _socket.size());
    const int sender = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const ssize_t sent = ::sendto(sender, message.data(), message.size(), MSG_NOSIGNAL | MSG_DONTWAIT,
                                  reinterpret_cast<const sockaddr*>(&address), length);
    code = sent < 0 ? errno : 0;
    if (sender >= 0) ::close(sender);
  }
  if (code == 0 || std::exchange(_failureTold, true)) return;
  DGT1_Printf(traceUnit, DGT1_ERROR, "The service manager at %s cannot be told of the agent: %s",
              _socket.c_str(), std::strerror(code));
}

}  // namespace zov
