#pragma once
// zov::Reception: the connections that have no owner: those that were accepted and have not yet sent a whole
// first frame, and those that are left for their peers to close. They are at most Capacity: one more, and the
// oldest is deleted. A first frame that is not whole within zovWaits().firstFrameSeconds costs its
// connection, and so does one that is over its budget (runtime/budgets.h).
//
// An accept that fails, for want of descriptors or memory, rests accepting for zovWaits().acceptPauseSeconds
// and is told by message ZOVA0172W, once until an accept works again.
//
// Threads: one receives, the listener's, and waits for all that may come at once, so that no peer holds up
// another. `leave` is for any. A leaf mutex guards what has been left and not yet been taken in.
//
// A raise in `next` leaves the reception as it was, but for the connection that it struck.

#include <poll.h>

#include <memory>
#include <vector>

#include "platform/mutex.h"
#include "transport/buffer.h"
#include "transport/server_socket.h"

namespace zov {

class Reception {
 public:
  static constexpr std::size_t Capacity = 64;

  struct Guest {
    std::shared_ptr<ZOVSocketConnection> connection;
    std::unique_ptr<ZOVBuffer> frame;
  };

  explicit Reception(std::shared_ptr<ZOVServerSocket> socket) : _socket(std::move(socket)) {}

  /// The next connection whose first frame is whole; it is the caller's from then on. 30 when there was none
  /// for `timeout` seconds, 33 once the server socket has been shut down, or why it cannot be waited for.
  ZOVReturnCode next(Guest& guest, long timeout);
  /// Keeps the connection, unread, until its peer closes it.
  void leave(const std::shared_ptr<ZOVSocketConnection>& connection);
  ZOVServerSocket& socket() { return *_socket; }

 private:
  struct Waiting {
    std::shared_ptr<ZOVSocketConnection> connection;
    Stream::Deadline firstFrameBy;  // none: left for its peer
  };

  void takeLeft();
  void add(const std::shared_ptr<ZOVSocketConnection>& connection, Stream::Deadline firstFrameBy);
  void remove(std::size_t index);
  void dropLate();
  void watch();
  ZOVClock::Steady nextMoment(ZOVClock::Steady end) const;
  bool attend(Guest& guest);
  void accept();
  void pause();

  const std::shared_ptr<ZOVServerSocket> _socket;
  std::vector<Waiting> _waiting;  // the oldest first
  std::vector<pollfd> _watched;   // the listening socket, its wake-up, and those in _waiting
  Stream::Deadline _pausedUntil;  // accepting rests
  bool _toldOfPause = false;
  Mutex _mutex;
  std::vector<std::shared_ptr<ZOVSocketConnection>> _left ZOV_GUARDED_BY(_mutex);
};

}  // namespace zov
