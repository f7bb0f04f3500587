#include "hub/http/departures.h"

#include <sys/epoll.h>
#include <unistd.h>

#include <array>

namespace zov::hub {

Departures::Departures() : _epoll(epoll_create1(EPOLL_CLOEXEC)) {}

Departures::~Departures() {
  if (_epoll >= 0) ::close(_epoll);
}

std::uint64_t Departures::watch(int socket, std::weak_ptr<Awaited> awaited) {
  const MutexLock guard(_mutex);
  const std::uint64_t id = ++_last;
  _watches.insert_or_assign(id, Watch{socket, std::move(awaited)});
  epoll_event event{};
  event.events = EPOLLRDHUP | EPOLLONESHOT;
  event.data.u64 = id;
  epoll_ctl(_epoll, EPOLL_CTL_ADD, socket, &event);
  return id;
}

void Departures::forget(std::uint64_t watch) {
  const MutexLock guard(_mutex);
  const auto found = _watches.find(watch);
  if (found == _watches.end()) return;
  epoll_ctl(_epoll, EPOLL_CTL_DEL, found->second.socket, nullptr);
  _watches.erase(found);
}

void Departures::report() {
  std::array<epoll_event, 64> events;
  const int count = epoll_wait(_epoll, events.data(), static_cast<int>(events.size()), 0);
  for (int i = 0; i < count; ++i) {
    std::shared_ptr<Awaited> awaited;
    {
      const MutexLock guard(_mutex);
      const auto found = _watches.find(events[static_cast<std::size_t>(i)].data.u64);
      if (found != _watches.end()) awaited = found->second.awaited.lock();
    }
    if (awaited != nullptr) awaited->clientLeft();
  }
}

}  // namespace zov::hub
