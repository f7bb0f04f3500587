#pragma once
// Clients that leave while the agent is at work for them.

#include <cstdint>
#include <map>
#include <memory>

#include "platform/mutex.h"

namespace zov::hub {

/// Who is told when his client has left.
class Awaited {
 public:
  virtual ~Awaited() = default;
  virtual void clientLeft() = 0;
};

/// Watches the sockets of connections that libmicrohttpd does not look at, since they wait. A client that has
/// closed its sending side counts as gone. Any thread may watch and forget; one thread calls report.
class Departures {
 public:
  Departures();
  ~Departures();
  Departures(const Departures&) = delete;
  Departures& operator=(const Departures&) = delete;

  /// Readable when there is something to report; -1 when there could be none, and then nobody is watched.
  int descriptor() const { return _epoll; }
  /// Tells once when the client at the socket leaves. The result is for forget, to be called before the
  /// socket is closed.
  std::uint64_t watch(int socket, std::weak_ptr<Awaited> awaited);
  void forget(std::uint64_t watch);
  /// Tells of those who have left, with no lock held.
  void report();

 private:
  struct Watch {
    int socket;
    std::weak_ptr<Awaited> awaited;
  };

  const int _epoll;
  Mutex _mutex;
  std::map<std::uint64_t, Watch> _watches ZOV_GUARDED_BY(_mutex);
  std::uint64_t _last ZOV_GUARDED_BY(_mutex) = 0;
};

}  // namespace zov::hub
